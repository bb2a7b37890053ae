// SPDX-License-Identifier: Apache-2.0
// The one place where the running of schedules reads the wall clock. What rings, ends or asks reads it here and hands
// it on. time() is behind it by up to a tick of the kernel's, so that a timer can ring before time() has come there.
#pragma once

#include <cstdint>
#include <ctime>

namespace service {

int64_t wall_clock_ms();

inline time_t wall_clock() {
  return static_cast<time_t>(wall_clock_ms() / 1000);
}

}  // namespace service
