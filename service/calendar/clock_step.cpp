// SPDX-License-Identifier: Apache-2.0
#include "service/calendar/clock_step.h"

#include <algorithm>

#include "service/limits.h"

namespace service {

ClockStep judge_step(time_t step) {
  if (step >= 0) return ClockStep::none;
  return step <= -clock_step_limit_s ? ClockStep::had_been_wrong : ClockStep::small_back;
}

ClockStep judge_downtime(time_t newest, time_t now) {
  return judge_step(now - newest);
}

uint32_t due_after_step(uint32_t due, int64_t period, time_t step) {
  if (due == 0 || period <= 0 || step >= 0) return due;
  const int64_t back = -int64_t{step} / period * period;
  return static_cast<uint32_t>(std::max<int64_t>(1, due - back));
}

}  // namespace service
