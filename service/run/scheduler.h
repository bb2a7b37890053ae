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

// Takes due times, each exactly once: into a run, or into an outcome that says why there is none.
class Scheduler {
 public:
  Scheduler(Recorder &recorder, Runner &runner, const Settings &settings);

  void recover();               // at the start, before anything runs: runs that were interrupted, a clock set back
  host::Result<void> start();   // from now on by the clock
  void check();                 // what is due now; and the next time to look
  void check_soon();            // the same when what is being done now, an answer above all, is done
  void clock_set(time_t step);  // the wall clock was set by so many seconds
  void zone_changed();          // the service's zone has become another: no due time is taken twice
  void use(const Settings &settings);  // from now on: what becomes of late due times

  // On somebody's word. A run that was asked for has no due time and leaves the schedule's as they are.
  host::Result<uint64_t> run_now(sch_schedule_entry &entry, const std::string &asked_by);  // its number
  host::Result<void> kill_run(uint64_t number, const std::string &asked_by) { return runner_.kill(number, asked_by); }
  host::Result<void> set_enabled(sch_schedule_entry &entry, bool enabled);

 private:
  void check_after_ms(unsigned milliseconds);
  void take_due();
  void set_alarm();
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
};

}  // namespace service
