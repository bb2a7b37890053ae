// SPDX-License-Identifier: Apache-2.0
#include "shell/passed_start.h"

#include <gtest/gtest.h>

namespace shell {
namespace {

constexpr time_t noon = 1782561600;
constexpr int32_t hour = 3600;

TEST(moved_on, keeps_a_start_that_is_ahead) {
  EXPECT_EQ(moved_on(noon + hour, hour, noon), noon + hour);
}

TEST(moved_on, goes_by_whole_periods_to_the_first_that_is_ahead) {
  EXPECT_EQ(moved_on(noon - 10, hour, noon), noon - 10 + hour);
  EXPECT_EQ(moved_on(noon - 5 * hour - 10, hour, noon), noon - 10 + hour);
  EXPECT_EQ(moved_on(noon - 1000 * hour, 24 * hour, noon), noon - 1000 * hour + 42 * 24 * hour);
}

TEST(moved_on, leaves_time_to_send_it) {
  EXPECT_EQ(moved_on(noon - hour + 3, hour, noon), noon + 3 + hour);
  EXPECT_EQ(moved_on(noon - hour + 6, hour, noon), noon + 6);
}

}  // namespace
}  // namespace shell
