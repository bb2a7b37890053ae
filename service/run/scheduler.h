// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <string>

#include "host/result.h"
#include "schedcli.h"
#include "service/calendar/clock_step.h"
#include "service/config/settings.h"
#include "service/run/alarm.h"
#include "service/run/recorder.h"
#include "service/run/runner.h"
#include "service/run/take.h"

namespace service {

// Takes each due time exactly once: as a run, or as an outcome that says why there is none.
class Scheduler {
 public:
  Scheduler(Recorder &recorder, Runner &runner, const Settings &settings);

  void recover();               // at the service's start: records interrupted runs, handles a clock that was set back
  host::Result<void> start();   // from now on schedules run when they are due
  void check();                 // takes what is due now, and sets the alarm for the next due time
  void check_soon();            // the same from the event loop, after the current request was answered
  void clock_set(time_t step);  // the wall clock was set by so many seconds
  void zone_changed();          // computes due times in the new zone; none is taken twice
  void use(const Settings &settings);  // the new rules for late and missed due times

  // Orders of operators. A run that an operator starts has no due time and does not change the schedule's.
  host::Result<uint64_t> run_now(sch_schedule_entry &entry, const std::string &asked_by);  // its number
  host::Result<void> kill_run(uint64_t number, const std::string &asked_by) { return runner_.kill(number, asked_by); }
  host::Result<void> set_enabled(sch_schedule_entry &entry, bool enabled);

 private:
  void check_after_ms(unsigned milliseconds);
  void take_due();
  void set_alarm();
  void set_preparation(uint32_t due);
  void prepare();
  void prepare_later();
  enum class Taken { stays, forgotten };
  void meet_step(ClockStep kind, time_t step);
  template <typename Arm>
  void arm_all(Arm arm_one, Taken taken);
  void record_interrupted(sch_schedule_entry &entry, int64_t now_ms);

  Recorder &recorder_;
  Runner &runner_;
  LatePolicy policy_;
  Alarm alarm_;
  host::Watch soon_;
  uint32_t prepares_for_ = 0;  // a due time; 0: none
  host::Watch preparation_;
};

}  // namespace service
