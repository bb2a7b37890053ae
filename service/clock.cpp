// SPDX-License-Identifier: Apache-2.0
#include "service/clock.h"

namespace service {

int64_t wall_clock_ms() {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

}  // namespace service
