// SPDX-License-Identifier: Apache-2.0
#include "service/clock.h"

namespace service {

namespace {

int64_t read_ms(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

}  // namespace

int64_t wall_clock_ms() {
  return read_ms(CLOCK_REALTIME);
}

int64_t wall_clock_offset_ms() {
  return read_ms(CLOCK_REALTIME) - read_ms(CLOCK_BOOTTIME);
}

}  // namespace service
