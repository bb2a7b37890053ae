// SPDX-License-Identifier: Apache-2.0
#include "service/notify.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

namespace service {
namespace {

struct Supervised : ::testing::Test {
  ~Supervised() override {
    unsetenv("WATCHDOG_USEC");
    unsetenv("WATCHDOG_PID");
  }
  unsigned period(const char *interval_us, const std::string &process = {}) {
    setenv("WATCHDOG_USEC", interval_us, 1);
    if (!process.empty()) setenv("WATCHDOG_PID", process.c_str(), 1);
    return watchdog_period_ms();
  }
};

TEST_F(Supervised, keep_alives_come_twice_in_each_interval) {
  EXPECT_EQ(period("30000000"), 15000u);
  EXPECT_EQ(period("20000"), 10u);
  EXPECT_EQ(period("2001"), 1u);
}

TEST_F(Supervised, an_interval_below_two_milliseconds_gets_one_each_and_a_long_one_one_a_day) {
  EXPECT_EQ(period("1"), 1u);
  EXPECT_EQ(period("172800000000"), 86400000u);
  EXPECT_EQ(period("18446744073709551615"), 86400000u);
}

TEST_F(Supervised, without_an_interval_or_for_another_process_there_are_none) {
  EXPECT_EQ(watchdog_period_ms(), 0u);
  EXPECT_EQ(period("0"), 0u);
  EXPECT_EQ(period("30000000", std::to_string(getpid() + 1)), 0u);
  EXPECT_EQ(period("30000000", std::to_string(getpid())), 15000u);
}

}  // namespace
}  // namespace service
