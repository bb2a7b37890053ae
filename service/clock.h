// SPDX-License-Identifier: Apache-2.0
// The wall clock. Only event handlers (timers, ends of processes, requests) read it, and pass the time on as an
// argument. Not by time(), which lags by up to a tick of the kernel: a timer could expire before time() has reached its
// second.
#pragma once

#include <cstdint>
#include <ctime>

namespace service {

int64_t wall_clock_ms();

// How far the wall clock is ahead of one that nobody sets, and that goes on while the machine sleeps.
int64_t wall_clock_offset_ms();

inline time_t wall_clock() {
  return static_cast<time_t>(wall_clock_ms() / 1000);
}

}  // namespace service
