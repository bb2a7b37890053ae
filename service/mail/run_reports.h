// SPDX-License-Identifier: Apache-2.0
// From the recorded steps of runs to one report for each run, mailed when the run is over.
#pragma once

#include <cstdint>
#include <map>

#include "service/joblog/joblog.h"
#include "service/mail/courier.h"
#include "service/run/recorder.h"

namespace service {

class RunReports {
 public:
  // `log`: where the output of a run is found that ended before a restart; null: nowhere.
  explicit RunReports(Courier &courier, const JobLog *log = nullptr) : courier_(courier), log_(log) {}

  bool owes(const RunStep &step) const;  // it ends what somebody is to have a report of
  void take(const RunStep &step);        // stored, in the order in which it happened

  // At the start, before anything else is taken: what an earlier process stored and did not come to send.
  void recover(Recorder &recorder);

 private:
  MailReport report_from_history(const sch_schedule_entry &entry, uint64_t run) const;

  Courier &courier_;
  const JobLog *log_;
  std::map<uint64_t, MailReport> under_way_;  // by the number of the run; of those that somebody wants
};

}  // namespace service
