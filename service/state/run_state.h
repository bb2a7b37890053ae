// SPDX-License-Identifier: Apache-2.0
// What the run-time store (pss_running_db) keeps of each schedule's runs. Runs write it and nothing else does; the
// schedule's own record is written when it is configured. At the start the newer of the two counts.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "host/result.h"
#include "schedcli.h"

namespace service {

// Records of the service's own in that store. Their second word is beyond the job table, so that the library's restore
// takes each of them for the status of no job and drops it.
enum RunKeyType : uint32_t { owed_report_key = 250, counters_key = 251, history_key = 252, run_state_key = 253 };

sch_runtime_key run_key(RunKeyType type, uint32_t number, const char *schedule);  // as stored

struct RunState {
  uint32_t version;
  uint32_t creation, edition;  // of the schedule's record when this was written
  uint32_t next_due;
  uint32_t last_taken;  // the latest due time that was run, missed or skipped: none is taken twice
  uint32_t taken_wall;  // of the record: the same by the wall clock
  uint32_t last_execution, last_completion, execution_count;
  int32_t last_slot;  // time.last_run of the record
  uint32_t running_due;
  uint32_t
      executions_before;  // execution_count when that run was begun: when it still is the same, the run is to be added
  uint64_t running;       // number of the run that waits or is under way; 0: none
  int64_t running_since_ms;       // when it was found due
  uint32_t first_page, end_page;  // of the history
  char asked_by[32];
};
static_assert(sizeof(RunState) == 104);

// Of this very schedule, not of one that had its name before.
std::optional<RunState> read_run_state(const sch_schedule_entry &entry);
RunState new_run_state(const sch_schedule_entry &entry);  // as memory has it, for one that has none stored

// Numbers that are never given twice, and the latest time that was seen.
struct RunCounters {
  uint32_t version;
  uint32_t reports;  // owed by mail so far (run/owed_reports.h)
  uint64_t runs, outcomes;
  int64_t last_seen;  // wall clock, seconds; 0: never
};
RunCounters read_run_counters();

// At the start, of a schedule as its record was read: puts the stored run state over it where that is newer. True: the
// record has to be stored again.
bool lay_run_state_over(sch_schedule_entry &entry, time_t now);

}  // namespace service
