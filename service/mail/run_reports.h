// SPDX-License-Identifier: Apache-2.0
// From the recorded steps of runs to one report for each run, mailed when the run is over.
#pragma once

#include <cstdint>
#include <map>

#include "service/mail/courier.h"
#include "service/run/recorder.h"

namespace service {

class RunReports {
 public:
  explicit RunReports(Courier &courier) : courier_(courier) {}

  void take(const RunStep &step);  // stored, in the order in which it happened

 private:
  Courier &courier_;
  std::map<uint64_t, MailReport> under_way_;  // by the number of the run; of those that somebody wants
};

}  // namespace service
