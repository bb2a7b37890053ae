// SPDX-License-Identifier: Apache-2.0
// One durable step of runs: whatever of their states, outcomes and job statuses belongs together, in one transaction of
// the run-time store. Memory is the caller's, to be changed when commit() has succeeded.
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
  ~RunBatch();  // without a commit: forgets everything, the numbers that it gave included
  RunBatch(const RunBatch &) = delete;
  RunBatch &operator=(const RunBatch &) = delete;

  // What of it is not changed stays as it is stored.
  void save(const sch_schedule_entry &entry, const ScheduleState &state);
  void save(const sch_schedule_entry &entry) { save(entry, state_of(*entry.rec)); }
  void taken(const sch_schedule_entry &entry, uint32_t due);  // run, missed or skipped: never again
  uint64_t begin_run(const sch_schedule_entry &entry, uint32_t due, int64_t now_ms, const std::string &asked_by);
  void end_run(const sch_schedule_entry &entry);

  // Gives it its sequence number, and a run number where it is a run of its own: missed, skipped, without jobs. Both
  // are taken back when nothing is stored.
  void add(const sch_schedule_entry &entry, Outcome &outcome);
  // A report of this run by mail is owed from now on; its number.
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
  std::vector<Outcome *> numbered_;  // here
};

// When the store is full, history gives way to what runs need: the older half of each schedule's goes. A status.
uint32_t halve_histories();

}  // namespace service
