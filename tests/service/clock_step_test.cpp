// SPDX-License-Identifier: Apache-2.0
#include "service/calendar/clock_step.h"

#include <gtest/gtest.h>

namespace service {
namespace {

constexpr time_t minute = 60, hour = 3600, year = 365 * 86400;
constexpr uint32_t noon = 1795262400;

TEST(ClockStep, three_hours_back_say_that_the_clock_had_been_wrong) {
  EXPECT_EQ(judge_step(-1), ClockStep::small_back);
  EXPECT_EQ(judge_step(-3 * hour + 1), ClockStep::small_back);
  EXPECT_EQ(judge_step(-3 * hour), ClockStep::had_been_wrong);
  EXPECT_EQ(judge_step(-56 * year), ClockStep::had_been_wrong);
}

TEST(ClockStep, forward_is_judged_by_how_late_what_was_due_is_found) {
  EXPECT_EQ(judge_step(0), ClockStep::none);
  EXPECT_EQ(judge_step(1), ClockStep::none);
  EXPECT_EQ(judge_step(56 * year), ClockStep::none);
}

TEST(ClockStep, a_step_while_the_service_was_down_is_seen_by_what_is_stored) {
  EXPECT_EQ(judge_downtime(0, noon), ClockStep::none);
  EXPECT_EQ(judge_downtime(noon, noon), ClockStep::none);
  EXPECT_EQ(judge_downtime(noon + minute, noon), ClockStep::small_back);
  EXPECT_EQ(judge_downtime(noon + 3 * hour - 1, noon), ClockStep::small_back);
  EXPECT_EQ(judge_downtime(noon + 3 * hour, noon), ClockStep::had_been_wrong);
  EXPECT_EQ(judge_downtime(noon + year, noon), ClockStep::had_been_wrong);
}

TEST(ClockStep, periodic_due_times_come_whole_periods_earlier) {
  EXPECT_EQ(due_after_step(noon, minute, -2 * hour), noon - 2 * hour);
  EXPECT_EQ(due_after_step(noon, minute, -90), noon - minute);
  EXPECT_EQ(due_after_step(noon, 10 * minute, -9 * minute), noon);
  EXPECT_EQ(due_after_step(noon, 10 * minute, -10 * minute), noon - 10 * minute);
  EXPECT_EQ(due_after_step(noon, 86400, -hour), noon);
  EXPECT_EQ(due_after_step(noon, minute, 2 * hour), noon);
  EXPECT_EQ(due_after_step(noon, 0, -hour), noon);
  EXPECT_EQ(due_after_step(noon, 1, -hour), noon - hour);
  EXPECT_EQ(due_after_step(0, minute, -hour), 0u);
  EXPECT_EQ(due_after_step(100, minute, -hour), 1u);
}

// However far within its period the schedule was: it waits for less than two periods, and is not due at once.
TEST(ClockStep, after_a_small_step_nobody_is_silent_for_two_periods) {
  for (const time_t period : {time_t{60}, time_t{600}, time_t{3600}, time_t{86400}})
    for (time_t step = -1; step > -3 * hour; step -= 7)
      for (const time_t wait : {time_t{1}, period / 2, period}) {
        const time_t due = due_after_step(static_cast<uint32_t>(noon + wait), period, step);
        ASSERT_GT(due, noon + step) << period << " " << step << " " << wait;
        ASSERT_LT(due, noon + step + 2 * period) << period << " " << step << " " << wait;
        ASSERT_EQ((due - noon - wait) % period, 0);
      }
}

}  // namespace
}  // namespace service
