// SPDX-License-Identifier: Apache-2.0
// What is counted as runs go by, so that nobody has to read the histories for it. It counts from the service's start
// on; what it knows of a schedule's last run it reads once, and again when the schedule has run since.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>

#include "schedcli.h"
#include "service/metrics/histogram.h"
#include "service/run/run_step.h"

namespace service {

struct LastRun {
  std::string outcome;  // one word; empty: it has not run
  int64_t end = 0;      // seconds
};

class Tally {
 public:
  Tally();

  void take(const RunStep &step);  // it is stored

  const std::map<std::string, uint64_t> &outcomes() const { return outcomes_; }  // by their word; each has a place
  const Histogram &durations() const { return durations_; }                      // of jobs
  const Histogram &latenesses() const { return latenesses_; }                    // of jobs of runs that were due

  LastRun last_run(const sch_schedule_entry &entry);
  void forget_deleted();  // what it knows of schedules that are gone

 private:
  std::map<std::string, uint64_t> outcomes_;
  Histogram durations_, latenesses_;
  std::unordered_map<uintptr_t, LastRun> last_runs_;  // by the schedule's serial
};

}  // namespace service
