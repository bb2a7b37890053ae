// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "control/operations.h"
#include "control/statuses.h"
#include "host/status.h"
#include "service/run/due.h"
#include "service/state/tables.h"
#include "tests/service/operator_requests.h"

namespace service_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr time_t day = 86400;

struct UpcomingScreen : ::testing::Test {
  World world;

  UpcomingScreen() {
    EXPECT_EQ(create_job(world, "job", "echo\n"), 0u);
    EXPECT_EQ(create_job(world, "second", "echo\n"), 0u);
    EXPECT_EQ(create_job(world, "own", "echo\n", nobody()), 0u);
  }

  void disable(const std::string &schedule) {
    ASSERT_EQ(ask(world, control::Operation::disable_schedule, bytes(schedule)).status, 0u);
  }
};

TEST_F(UpcomingScreen, has_each_schedule_with_a_due_time_the_earliest_first_and_the_disabled_behind_them) {
  ASSERT_EQ(create_schedule(world, "late", {"job"}, daily(13, 30)), 0u);
  ASSERT_EQ(create_schedule(world, "resting", {"job"}, daily(12, 5)), 0u);
  ASSERT_EQ(create_schedule(world, "timeless", {"job"}, {}), 0u);
  ASSERT_EQ(create_schedule(world, "early", {"own"}, daily(12, 10), nobody()), 0u);
  disable("resting");
  EXPECT_EQ(upcoming(world),
            "due                            in       schedule  jobs  owner\n"
            "Sat 2026-11-21 12:10:00 +0000  10m 00s  early     1     nobody\n"
            "Sat 2026-11-21 13:30:00 +0000  1h 30m   late      1     root\n"
            "disabled                       -        resting   1     root\n");
}

TEST_F(UpcomingScreen, has_as_many_as_are_asked_for) {
  for (const char *name : {"a", "b", "c"})
    ASSERT_EQ(create_schedule(world, name, {"job"}, daily(12, 30)), 0u);
  const std::string shown = upcoming(world, {}, 2);
  EXPECT_THAT(shown, HasSubstr("  a  "));
  EXPECT_THAT(shown, HasSubstr("  b  "));
  EXPECT_THAT(shown, Not(HasSubstr("  c  ")));
}

TEST_F(UpcomingScreen, has_twenty_schedules_where_no_number_is_asked_for) {
  for (int i = 0; i < 22; i++)
    ASSERT_EQ(create_schedule(world, "s" + std::to_string(i), {"job"}, daily(12, 30)), 0u);
  EXPECT_EQ(std::ranges::count(upcoming(world), '\n'), 1 + 20);
  EXPECT_EQ(std::ranges::count(upcoming(world, {}, 22), '\n'), 1 + 22);
  EXPECT_EQ(std::ranges::count(upcoming(world, {}, 23), '\n'), 1 + 22);
}

TEST_F(UpcomingScreen, shows_what_is_due_together_and_what_is_disabled_in_the_order_it_was_created_in) {
  for (const char *name : {"c", "a", "b", "z", "y"})
    ASSERT_EQ(create_schedule(world, name, {"job"}, daily(12, 30)), 0u);
  disable("z");
  disable("y");
  std::string order;
  std::istringstream lines(upcoming(world));
  for (std::string line; std::getline(lines, line);)
    for (const char *name : {"  a  ", "  b  ", "  c  ", "  z  ", "  y  "})
      if (line.find(name) != line.npos) order += name[2];
  EXPECT_EQ(order, "cabzy");
}

TEST_F(UpcomingScreen, shows_a_user_what_is_theirs) {
  ASSERT_EQ(create_schedule(world, "roots", {"job"}, daily(12, 30)), 0u);
  ASSERT_EQ(create_schedule(world, "nobodys", {"own"}, daily(12, 30), nobody()), 0u);
  const std::string shown = upcoming(world, {}, 0, nobody());
  EXPECT_THAT(shown, HasSubstr("nobodys"));
  EXPECT_THAT(shown, Not(HasSubstr("roots")));
  EXPECT_EQ(upcoming(world, {}, 0, daemon_user()), "");
  const auto status = [&](const char *name) {
    return ask(world, control::Operation::show_upcoming, query(control::UpcomingQuery{}, name), nobody()).status;
  };
  EXPECT_EQ(status("nobodys"), 0u);
  EXPECT_EQ(status("roots"), control::err_not_owner);
  EXPECT_EQ(status("none"), control::err_no_such_schedule);
}

TEST_F(UpcomingScreen, of_one_schedule_has_its_next_due_times) {
  ASSERT_EQ(create_schedule(world, "s", {"job", "second"}, daily(12, 30)), 0u);
  EXPECT_EQ(upcoming(world, "s", 2),
            "schedule: s\nowner: root\nenabled: yes\njobs: job, second\n"
            "due                            in\n"
            "Sat 2026-11-21 12:30:00 +0000  30m 00s\n"
            "Sun 2026-11-22 12:30:00 +0000  1d 00h\n");
  EXPECT_EQ(std::ranges::count(upcoming(world, "s"), '\n'), 4 + 1 + 10);
}

TEST_F(UpcomingScreen, of_one_schedule_says_when_there_is_no_due_time) {
  ASSERT_EQ(create_schedule(world, "s", {}, daily(12, 30)), 0u);
  disable("s");
  EXPECT_EQ(upcoming(world, "s"), "schedule: s\nowner: root\nenabled: no\njobs: none\ndue: never\n");
}

TEST_F(UpcomingScreen, says_that_nothing_runs_while_the_feature_is_disabled) {
  ASSERT_EQ(create_schedule(world, "s", {"job"}, daily(12, 30)), 0u);
  ASSERT_EQ(ask(world, control::Operation::disable_feature, {}).status, 0u);
  EXPECT_THAT(upcoming(world), ::testing::StartsWith("(the scheduler feature is disabled: nothing runs)\n"));
}

TEST_F(UpcomingScreen, of_one_schedule_says_that_nothing_runs_while_the_feature_is_disabled) {
  ASSERT_EQ(create_schedule(world, "s", {"job"}, daily(12, 30)), 0u);
  ASSERT_EQ(ask(world, control::Operation::disable_feature, {}).status, 0u);
  EXPECT_THAT(upcoming(world, "s"), HasSubstr("jobs: job\n(the scheduler feature is disabled: nothing runs)\ndue "));
}

TEST_F(UpcomingScreen, refuses_a_query_that_is_cut_or_out_of_range) {
  EXPECT_EQ(ask(world, control::Operation::show_upcoming, Bytes(3)).status, host::err_bad_request);
  EXPECT_EQ(ask(world, control::Operation::show_upcoming, query(control::UpcomingQuery{control::query_lines_limit + 1}))
                .status,
            host::err_bad_value);
  EXPECT_EQ(
      ask(world, control::Operation::show_upcoming, query(control::UpcomingQuery{control::query_lines_limit})).status,
      0u);
}

// The times that are shown are those at which the schedule then runs.
TEST_F(UpcomingScreen, foretells_the_due_times_that_are_then_taken) {
  sch_tminfo weekly = daily(7, 15), monthly = daily(23, 0);
  weekly.type = SCH_SCHEDULE_WEEKLY;
  weekly.day_of_week = 3;
  monthly.type = SCH_SCHEDULE_MONTHLY;
  monthly.day_of_month = 31;
  const std::vector<sch_tminfo> times = {daily(12, 30), weekly, monthly, every(90, noon + 60), once(18, 0)};
  for (size_t i = 0; i < times.size(); i++) {
    const std::string name = "s" + std::to_string(i);
    ASSERT_EQ(create_schedule(world, name, {"job"}, times[i]), 0u);
    sch_schedule_entry &entry = *service::find_schedule(name);
    const std::vector<uint32_t> foretold = service::coming_dues(entry, 20);
    ASSERT_EQ(foretold.size(), times[i].type == SCH_SCHEDULE_ONESHOT ? 1u : 20u);
    for (const uint32_t due : foretold) {
      EXPECT_EQ(service::state_of(*entry.rec).next_due, due) << name;
      service::arm_next(entry, due);
    }
  }
}

}  // namespace
}  // namespace service_test
