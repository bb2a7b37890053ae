// SPDX-License-Identifier: Apache-2.0
// One transaction of the run-time store, with run states, outcomes and job statuses that belong together. It does not
// change the database in memory: the caller does, when commit() has succeeded.
#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <vector>

#include "host/result.h"
#include "schedcli.h"
#include "service/run/outcome.h"
#include "service/state/run_state.h"
#include "service/state/schedule_state.h"

namespace service {

class RunBatch {
 public:
  explicit RunBatch(RunCounters &counters);
  ~RunBatch();  // without a commit: aborts, and takes back the numbers that it gave
  RunBatch(const RunBatch &) = delete;
  RunBatch &operator=(const RunBatch &) = delete;

  // Stores the schedule's state; the run under way and the history's pages stay as they are stored.
  void save(const sch_schedule_entry &entry, const ScheduleState &state);
  void save(const sch_schedule_entry &entry) { save(entry, state_of(*entry.rec)); }
  void taken(const sch_schedule_entry &entry,
             uint32_t due);  // the due time was run, missed or skipped: not taken again
  uint64_t begin_run(const sch_schedule_entry &entry, uint32_t due, int64_t now_ms, const std::string &asked_by);
  void end_run(const sch_schedule_entry &entry);

  // Adds an outcome and gives it its sequence number, and a run number if it is the outcome of a whole run (missed,
  // skipped, without jobs). Both are taken back if the batch is not committed.
  void add(const sch_schedule_entry &entry, Outcome &outcome);
  // Notes that a report of this run is to be mailed. Returns the note's number.
  uint32_t owe_report(const sch_schedule_entry &entry, uint64_t run);
  void settle_report(uint32_t number, const std::string &schedule);
  void set_status(const sch_job_entry &slot, const sch_runtime_job_status &status);

  host::Result<void> commit(time_t now);

 private:
  RunState &state_for(const sch_schedule_entry &entry);
  void require(uint32_t error);
  void take_numbers_back();
  void write_states();
  void write_counters();

  RunCounters &counters_;
  const RunCounters before_;
  bool open_ = false;
  uint32_t failure_ = 0;
  std::map<const sch_schedule_entry *, RunState> states_;
  std::vector<Outcome *> numbered_;  // outcomes that got their numbers from this batch
};

// For a full store: drops the older half of each schedule's history, so that runs can go on. Returns a status.
uint32_t halve_histories();

}  // namespace service
