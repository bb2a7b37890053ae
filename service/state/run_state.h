// SPDX-License-Identifier: Apache-2.0
// The state of each schedule's runs in the run-time store (pss_running_db). Only runs write it, and only configuring
// writes the schedule's own record; at the service's start the newer of the two counts.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "host/result.h"
#include "schedcli.h"

namespace service {

// The service's own records in that store. Where the library expects a job's id they have a number beyond the job
// table, so that its restore ignores them.
enum RunKeyType : uint32_t { owed_report_key = 250, counters_key = 251, history_key = 252, run_state_key = 253 };

sch_runtime_key run_key(RunKeyType type, uint32_t number, const char *schedule);  // as stored

// Whether it is a moment that a clock may tell. Of others, which a damaged record may hold, no difference is computed.
constexpr bool is_moment_ms(int64_t ms) {
  constexpr int64_t farthest_ms = int64_t{1} << 53;  // 285,000 years; and exact as a number of JSON
  return -farthest_ms <= ms && ms <= farthest_ms;
}

struct RunState {
  uint32_t version;
  uint32_t creation, edition;  // of the schedule's record when this was written
  uint32_t next_due;
  uint32_t last_taken;  // the latest due time that was run, missed or skipped, so that none is taken twice
  uint32_t taken_wall;  // see taken_wall() in schedule_state.h
  uint32_t last_execution, last_completion, execution_count;
  int32_t last_slot;  // time.last_run of the record
  uint32_t running_due;
  uint32_t executions_before;     // execution_count when the run began; if it is still that, the run was not counted
  uint64_t running;               // number of the run that waits or is under way; 0: none
  int64_t running_since_ms;       // when it was found due
  uint32_t first_page, end_page;  // of the history
  char asked_by[32];
};
static_assert(sizeof(RunState) == 104);

// nullopt if there is none, or if it is of an earlier schedule of that name.
std::optional<RunState> read_run_state(const sch_schedule_entry &entry);
RunState new_run_state(const sch_schedule_entry &entry);  // for a schedule that has none stored

// The last numbers that were given (none is given twice), and the latest time that was seen.
struct RunCounters {
  uint32_t version;
  uint32_t reports;  // notes of reports to be mailed (run/owed_reports.h)
  uint64_t runs, outcomes;
  int64_t last_seen;  // wall clock, seconds; 0: never
};
RunCounters read_run_counters();

// At the service's start, for a schedule as its record was read: updates it from the stored run state. True: the record
// has changed and must be stored again.
bool lay_run_state_over(sch_schedule_entry &entry, time_t now);

}  // namespace service
