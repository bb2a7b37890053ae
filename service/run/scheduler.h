// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "service/request/context.h"
#include "service/run/alarm.h"

namespace service {

// Runs what is due, and says of what was not run why.
class Scheduler {
 public:
  explicit Scheduler(Context &context) : context_(context) {}

  bool start(std::string *error);  // from now on by the clock
  void recover();                  // at start-up: runs that were interrupted, times that were missed
  void check();                    // what is due now; and the next time to look. After every request.
  void clock_set(time_t step);     // the wall clock was set by so many seconds
  void zone_changed();             // the service's zone has become another

 private:
  void take_due(sch_schedule_entry &entry, time_t now, std::vector<sch_schedule_entry *> *changed);
  bool recover(sch_schedule_entry &entry, time_t now);
  void record_missed(sch_schedule_entry &entry, time_t due, time_t now);
  void record_interrupted(sch_schedule_entry &entry, time_t now);

  Context &context_;
  Alarm alarm_;
};

}  // namespace service
