// SPDX-License-Identifier: Apache-2.0
// What happens to due times when somebody sets the wall clock. A small step is a correction: due times that were taken
// are not taken again, and periodic schedules go on by elapsed time. A large step back means that the clock had been
// wrong: what was taken by it does not count, and schedules are computed anew from the new time.
#pragma once

#include <cstdint>
#include <ctime>

#include "schedcli.h"

namespace service {

enum class ClockStep {
  none,           // or forward: due times that were passed over are missed or late
  small_back,     // arm_after_step: the periodic ones go on, the others keep their due times
  had_been_wrong  // arm_anew for all
};

// Of a step while the service runs: the seconds by which the clock was set.
ClockStep judge_step(time_t step);

// At the service's start. `newest` is the latest stored moment that was in the past (a start or end of a run, a due
// time taken). If it is later than now, the clock was set back while the service was down.
ClockStep judge_downtime(time_t newest, time_t now);

// A periodic due time after a small step back: earlier by as many whole periods as fit in the step, so that the next
// run is not delayed by the step and slots stay a multiple of the period after the start.
uint32_t due_after_step(uint32_t due, int64_t period, time_t step);

}  // namespace service
