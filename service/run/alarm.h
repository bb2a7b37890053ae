// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>

#include "host/files/file_descriptor.h"
#include "host/loop/watch.h"
#include "host/result.h"

namespace service {

// A timer on the wall clock, which also calls back when the wall clock is set.
class Alarm {
 public:
  // `step`: the seconds by which the clock was set since the last call, rounded; 0 if it was not.
  using Ring = std::function<void(time_t step)>;

  host::Result<void> open(Ring ring);
  void set(time_t moment);  // 0: only when the clock is set

 private:
  void on_readable();
  void ring();

  host::FileDescriptor timer_;
  host::Watch watch_, set_meanwhile_;
  Ring ring_;
  time_t set_for_ = 0;
  int64_t offset_ms_ = 0;  // of the wall clock from CLOCK_BOOTTIME, which is never set and counts suspended time
};

}  // namespace service
