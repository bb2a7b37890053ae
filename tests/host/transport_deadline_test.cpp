// SPDX-License-Identifier: Apache-2.0
// How long a client waits, with a clock that stands still.
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

#include "host/transport/connection.h"
#include "host/transport/transport.h"
#include "tests/host/transport_fixture.h"

namespace {
timespec fixed = {};
}

// In the place of the C library's, for every library of the process.
extern "C" int clock_gettime(clockid_t clock, timespec *now) noexcept {
  if (clock != CLOCK_MONOTONIC_COARSE) return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
  *now = fixed;
  return 0;
}

namespace transport_test {

struct Moment {
  timespec now;
  int remaining_ms;
};

constexpr long ms = 1000000;

TEST(Deadline, passes_when_the_timeout_is_over_and_not_before) {
  fixed = {100, 900 * ms};
  host::set_reply_timeout_ms(2500);
  const host::Deadline deadline = host::Deadline::of_reply();
  const Moment moments[] = {
      {{100, 900 * ms}, 2500},       {{100, 901 * ms}, 2499}, {{101, 0}, 2400},     {{103, 399 * ms}, 1},
      {{103, 399 * ms + 999999}, 1}, {{103, 400 * ms}, 0},    {{103, 401 * ms}, 0}, {{9000, 0}, 0}};
  for (const Moment &moment : moments) {
    fixed = moment.now;
    EXPECT_EQ(deadline.remaining_ms(), moment.remaining_ms) << fixed.tv_sec << " s " << fixed.tv_nsec;
    EXPECT_EQ(deadline.has_passed(), moment.remaining_ms == 0) << fixed.tv_sec << " s " << fixed.tv_nsec;
  }
}

TEST(Deadline, below_nothing_is_now) {
  fixed = {100, 0};
  for (const int timeout : {0, -1, -5000}) {
    host::set_reply_timeout_ms(timeout);
    EXPECT_EQ(host::Deadline::of_reply().remaining_ms(), 0);
    EXPECT_TRUE(host::Deadline::of_reply().has_passed());
  }
}

TEST(Deadline, of_nothing_has_passed) {
  fixed = {100, 0};
  EXPECT_TRUE(host::Deadline().has_passed());
  EXPECT_EQ(host::Deadline().remaining_ms(), 0);
}

}  // namespace transport_test
