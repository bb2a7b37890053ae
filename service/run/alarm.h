// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <functional>
#include <string>

#include "host/files/file_descriptor.h"
#include "host/loop/watch.h"

namespace service {

// Rings at a time of the wall clock, and when the wall clock is set.
class Alarm {
 public:
  // `step`: by how many seconds the clock was set since the last call; 0: it was not.
  using Ring = std::function<void(time_t step)>;

  bool open(Ring ring, std::string *error);
  void set(time_t moment);  // 0: only when the clock is set

 private:
  void on_readable();

  host::FileDescriptor timer_;
  host::Watch watch_;
  Ring ring_;
  time_t set_for_ = 0;
  time_t offset_ = 0;  // of the wall clock from the clock that nobody sets
};

}  // namespace service
