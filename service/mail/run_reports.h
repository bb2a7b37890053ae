// SPDX-License-Identifier: Apache-2.0
// Collects the stored steps of each run, and mails one report when the run is over.
#pragma once

#include <cstdint>
#include <map>

#include "service/joblog/joblog.h"
#include "service/mail/courier.h"
#include "service/run/recorder.h"

namespace service {

class RunReports {
 public:
  // `log` has the outputs of runs that ended before a restart; null if there is none.
  explicit RunReports(Courier &courier, const JobLog *log = nullptr) : courier_(courier), log_(log) {}

  bool owes(const RunStep &step) const;  // whether this step ends a run of which a report is to be mailed
  void take(const RunStep &step);        // for each step once it is stored, in their order

  // At the service's start, before any take(): sends the reports that an earlier process had stored but not queued.
  void recover(Recorder &recorder);

 private:
  MailReport report_from_history(const sch_schedule_entry &entry, uint64_t run) const;

  Courier &courier_;
  const JobLog *log_;
  std::map<uint64_t, MailReport> under_way_;  // by run number; only of runs whose report is to be mailed
};

}  // namespace service
