// SPDX-License-Identifier: Apache-2.0
// What follows for due times when somebody sets the wall clock. A small step is a correction: times of the wall clock
// that were taken stay taken, and what counts elapsed time goes on in it. A large step back says that the clock had
// been wrong: nothing that was taken by it counts, and the new time is believed at once.
#pragma once

#include <cstdint>
#include <ctime>

#include "schedcli.h"

namespace service {

enum class ClockStep {
  none,           // or forward: what lies between was missed, or is late
  small_back,     // arm_after_step: the periodic ones go on, the others keep their due times
  had_been_wrong  // arm_anew for all
};

// Of a step while the service runs: the seconds by which the clock was set.
ClockStep judge_step(time_t step);

// At the start: `newest` is the latest moment that anything stored tells of as past (a start or an end of a run, a due
// time taken). The clock was set back while the service was down when that lies ahead.
ClockStep judge_downtime(time_t newest, time_t now);

// A periodic due time after a small step back: the step's whole periods earlier, so that nobody waits for the old time
// and the slots stay whole periods behind the start.
uint32_t due_after_step(uint32_t due, int64_t period, time_t step);

}  // namespace service
