// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>

#include "host/files/file_descriptor.h"
#include "host/loop/watch.h"
#include "host/result.h"

namespace service {

// Rings at a time of the wall clock, and when the wall clock is set.
class Alarm {
 public:
  // `step`: by how many seconds the clock was set since the last ring or step; 0: by less than half of one.
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
  int64_t offset_ms_ = 0;  // of the wall clock from the clock that nobody sets, which counts a sleeping machine's time
};

}  // namespace service
