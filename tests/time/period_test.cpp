// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <climits>

#include "tests/platform/platform.h"
#include "tests/time/moments.h"

namespace {

using namespace platform_test;
using namespace time_test;

class Period : public platform_test::PlatformTest {};

int32_t delta(int days, int hours, int minutes) {
  const sch_tminfo record = time_test::periodic(days, hours, minutes, 0);
  int32_t seconds = -7;
  EXPECT_EQ(sch_compute_delta(&record, &seconds), 0);
  return seconds;
}

TEST_F(Period, days_hours_and_minutes_add_up_to_seconds) {
  EXPECT_EQ(delta(0, 0, 0), 0);
  EXPECT_EQ(delta(0, 0, 1), 60);
  EXPECT_EQ(delta(0, 1, 0), 3600);
  EXPECT_EQ(delta(1, 0, 0), 86400);
  EXPECT_EQ(delta(99, 99, 99), 8915940);
  EXPECT_EQ(delta(0, 1, -59), 60);
  EXPECT_EQ(delta(-1, 0, 0), -86400);
}

TEST_F(Period, a_period_beyond_the_field_wraps) {
  EXPECT_EQ(delta(24855, 3, 14), 2147483640);
  EXPECT_EQ(delta(24855, 3, 15), -2147483596);
  EXPECT_EQ(delta(INT_MAX, INT_MAX, INT_MAX), -90060);
  EXPECT_EQ(delta(INT_MIN, INT_MIN, INT_MIN), 0);
}

TEST_F(Period, interval_dump_has_seconds_and_microseconds) {
  cli_debug = 1;
  const sch_timeval value = {12, -34};
  EXPECT_EQ(capture([&] { print_timeval(&value); }).err, "seconds 12\nmicro seconds -34\n");
  cli_debug = 0;
  debug_level = 200;
  EXPECT_EQ(capture([&] { print_timeval(&value); }).err, "");
}

}  // namespace
