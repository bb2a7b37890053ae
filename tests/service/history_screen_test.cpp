// SPDX-License-Identifier: Apache-2.0
// What operators read of runs. The clock stands still, so that a job takes no time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "control/operations.h"
#include "control/statuses.h"
#include "host/status.h"
#include "service/request/shown_time.h"
#include "tests/service/operator_requests.h"

namespace service_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr time_t minute = 60, day = 86400;
constexpr time_t due = noon + 30 * minute;

constexpr control::HistoryQuery failed_alone = {0, 0, 1};

struct HistoryScreen : ::testing::Test {
  World world;

  HistoryScreen() { create_good_bad_and_own_job(world); }
};

TEST_F(HistoryScreen, has_a_line_for_each_run_the_newest_first) {
  ASSERT_EQ(create_schedule(world, "mixed", {"good", "bad"}, daily(12, 30)), 0u);
  ASSERT_EQ(create_schedule(world, "fine", {"good"}, daily(12, 31)), 0u);
  pass_to(world, due);
  pass_to(world, due + minute);
  EXPECT_EQ(history(world),
            "run  schedule  due                            start                          duration  outcome  jobs "
            "failed\n"
            "2    fine      Sat 2026-11-21 12:31:00 +0000  Sat 2026-11-21 12:31:00 +0000  0.000s    success  0 of 1\n"
            "1    mixed     Sat 2026-11-21 12:30:00 +0000  Sat 2026-11-21 12:30:00 +0000  0.000s    failed   1 of 2\n");
}

TEST_F(HistoryScreen, is_empty_before_the_first_run) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, daily(12, 30)), 0u);
  EXPECT_EQ(history(world), "");
}

TEST_F(HistoryScreen, shows_the_failed_ones_alone_where_that_is_asked_for) {
  ASSERT_EQ(create_schedule(world, "mixed", {"good", "bad"}, daily(12, 30)), 0u);
  ASSERT_EQ(create_schedule(world, "fine", {"good"}, daily(12, 30)), 0u);
  pass_to(world, due);
  const std::string shown = history(world, failed_alone);
  EXPECT_THAT(shown, HasSubstr("  mixed  "));
  EXPECT_THAT(shown, Not(HasSubstr("fine")));
}

TEST_F(HistoryScreen, shows_as_many_of_the_newest_as_are_asked_for_over_all_schedules) {
  ASSERT_EQ(create_schedule(world, "a", {"good"}, daily(12, 30)), 0u);
  ASSERT_EQ(create_schedule(world, "b", {"good"}, daily(12, 31)), 0u);
  for (int i = 0; i < 3; i++) {
    pass_to(world, due + i * day);
    pass_to(world, due + i * day + minute);
  }
  const std::string shown = history(world, {0, 3, 0});
  EXPECT_EQ(std::ranges::count(shown, '\n'), 4) << shown;
  EXPECT_THAT(shown, HasSubstr("\n6    b "));
  EXPECT_THAT(shown, HasSubstr("\n5    a "));
  EXPECT_THAT(shown, HasSubstr("\n4    b "));
}

TEST_F(HistoryScreen, has_twenty_runs_where_no_number_is_asked_for_and_of_a_schedule_too) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, every(1, noon + minute)), 0u);
  for (int i = 1; i <= 22; i++)
    pass_to(world, noon + i * minute);
  for (const char *schedule : {"", "s"}) {
    EXPECT_EQ(std::ranges::count(history(world, {}, schedule), '\n'), 1 + 20);
    EXPECT_EQ(std::ranges::count(history(world, {0, 22, 0}, schedule), '\n'), 1 + 22);
  }
}

// Each of these may find older runs than the newest ones.
TEST_F(HistoryScreen, goes_back_as_far_as_it_must_for_what_is_asked_for) {
  const std::string fails = world.directory.path() + "/fails";
  ASSERT_EQ(create_job(world, "now-and-then", "test ! -e " + fails + "\n"), 0u);
  ASSERT_EQ(create_job(world, "former", "echo\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"now-and-then", "former"}, every(1, noon + minute)), 0u);
  std::ofstream(fails).put('x');
  pass_to(world, noon + minute);
  std::filesystem::remove(fails);
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_DELETE_JOB, job_payload("former")).status, 0u);
  for (int i = 2; i <= 5; i++)
    pass_to(world, noon + i * minute);
  EXPECT_THAT(history(world, {0, 1, 1}), HasSubstr("\n1    s "));
  control::HistoryQuery of_job = {0, 1, 0};
  std::strcpy(of_job.job, "former");
  EXPECT_THAT(history(world, of_job), HasSubstr("\n1    s "));
  EXPECT_EQ(history(world, {0, 1, 0}, "s").find("\n1    s "), std::string::npos);
}

TEST_F(HistoryScreen, since_a_moment_has_what_was_due_then_or_began_then_and_what_came_later) {
  ASSERT_EQ(create_schedule(world, "due", {"good"}, daily(12, 30)), 0u);
  ASSERT_EQ(create_schedule(world, "asked", {"good"}, {}), 0u);
  pass_to(world, due);
  set_clock(due + minute);
  ASSERT_EQ(ask(world, control::Operation::run_schedule, bytes("asked")).status, 0u);
  while (history(world, {}, "asked").find("success") == std::string::npos)
    world.loop.turn();
  world.settle();
  const auto shown_since = [&](time_t moment) {
    control::HistoryQuery asked = {0, 0, 0};
    asked.since = moment;
    return std::ranges::count(history(world, asked), '\n');
  };
  EXPECT_EQ(shown_since(due), 3);
  EXPECT_EQ(shown_since(due + 1), 2);
  EXPECT_EQ(shown_since(due + minute), 2);
  EXPECT_EQ(shown_since(due + minute + 1), 0);
}

// Its schedule and one of its jobs are asked for; neither another schedule's nor another user's run is shown.
TEST_F(HistoryScreen, has_a_run_under_way_once_and_where_it_is_meant) {
  ASSERT_EQ(create_job(world, "endless", "sleep 1000\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"good", "endless"}, {}), 0u);
  ASSERT_EQ(create_schedule(world, "other", {"good"}, {}), 0u);
  ASSERT_EQ(ask(world, control::Operation::run_schedule, bytes("s")).status, 0u);
  while (world.parts->runner.list().front().job != "endless")
    world.loop.turn();
  const auto shown = [&](const char *job, const char *schedule, const host::Caller &caller = root()) {
    control::HistoryQuery asked = {0, 0, 0};
    std::strcpy(asked.job, job);
    return std::ranges::count(history(world, asked, schedule, caller), '\n');
  };
  EXPECT_EQ(shown("", ""), 2);
  EXPECT_EQ(shown("", "s"), 2);
  EXPECT_EQ(shown("good", ""), 2);
  EXPECT_EQ(shown("endless", "s"), 2);
  EXPECT_EQ(shown("bad", ""), 0);
  EXPECT_EQ(shown("none", ""), 0);
  EXPECT_EQ(shown("", "other"), 0);
  EXPECT_EQ(shown("", "", nobody()), 0);
}

TEST_F(HistoryScreen, of_one_schedule_shows_no_other) {
  ASSERT_EQ(create_schedule(world, "a", {"good"}, daily(12, 30)), 0u);
  ASSERT_EQ(create_schedule(world, "b", {"good"}, daily(12, 30)), 0u);
  pass_to(world, due);
  const std::string shown = history(world, {}, "b");
  EXPECT_EQ(std::ranges::count(shown, '\n'), 2) << shown;
  EXPECT_THAT(shown, HasSubstr("\n2    b "));
}

TEST_F(HistoryScreen, shows_a_user_what_is_theirs) {
  ASSERT_EQ(create_schedule(world, "roots", {"good"}, daily(12, 30)), 0u);
  ASSERT_EQ(create_schedule(world, "nobodys", {"own"}, daily(12, 30), nobody()), 0u);
  pass_to(world, due);
  EXPECT_THAT(history(world, {}, {}, root()), HasSubstr("nobodys"));
  EXPECT_THAT(history(world, {}, {}, nobody()), HasSubstr("nobodys"));
  EXPECT_THAT(history(world, {}, {}, nobody()), Not(HasSubstr("roots")));
  EXPECT_EQ(history(world, {}, {}, daemon_user()), "");
  EXPECT_EQ(ask(world, control::Operation::show_history, query(control::HistoryQuery{}, "roots"), nobody()).status,
            control::err_not_owner);
  EXPECT_EQ(ask(world, control::Operation::show_history, query(control::HistoryQuery{}, "none")).status,
            control::err_no_such_schedule);
}

TEST_F(HistoryScreen, counts_the_due_times_that_were_missed_together) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, daily(12, 30)), 0u);
  pass_to(world, due + 2 * day + 10 * minute);
  EXPECT_THAT(history(world),
              HasSubstr("1    s         Sat 2026-11-21 12:30:00 +0000  -      -         missed 3 times  "));
}

TEST_F(HistoryScreen, has_a_run_under_way_and_who_asked_for_it) {
  ASSERT_EQ(create_job(world, "endless", "sleep 1000\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"good", "endless"}, {}), 0u);
  ASSERT_EQ(ask(world, control::Operation::run_schedule, bytes("s")).status, 0u);
  while (world.parts->runner.list().front().job != "endless")
    world.loop.turn();
  EXPECT_THAT(history(world),
              HasSubstr("\n1    s         asked by root  Sat 2026-11-21 12:00:00 +0000  -         running  -\n"));
  EXPECT_EQ(history(world, failed_alone), "");
  const std::string run = history(world, {1, 0, 0});
  EXPECT_THAT(run, HasSubstr("\noutcome: running\njob under way: endless\njob   outcome  code"));
  EXPECT_THAT(run, HasSubstr("\ngood  success  0 "));
  EXPECT_EQ(text_of(ask(world, control::Operation::show_history, query(control::HistoryQuery{1, 0, 0}), nobody())),
            "(status " + std::to_string(control::err_no_history_of_run) + ")");
}

TEST_F(HistoryScreen, has_the_start_of_an_interrupted_run_and_no_duration_as_its_end_is_not_known) {
  ASSERT_EQ(create_job(world, "endless", "sleep 1000\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"endless"}, {}), 0u);
  ASSERT_EQ(ask(world, control::Operation::run_schedule, bytes("s")).status, 0u);
  while (world.parts->runner.list().front().job != "endless")
    world.loop.turn();
  set_clock(noon + 2 * minute);
  world.restart();
  EXPECT_THAT(
      history(world),
      HasSubstr("\n1    s         asked by root  Sat 2026-11-21 12:00:00 +0000  -         interrupted  1 of 1\n"));
  EXPECT_THAT(history(world, {1, 0, 0}),
              HasSubstr("\nstart: Sat 2026-11-21 12:00:00 +0000\nduration: -\noutcome: interrupted\n"));
}

TEST_F(HistoryScreen, of_one_run_has_its_jobs) {
  ASSERT_EQ(create_schedule(world, "s", {"good", "bad"}, daily(12, 30)), 0u);
  pass_to(world, due);
  EXPECT_EQ(history(world, {1, 0, 0}),
            "run: 1\nschedule: s\nowner: root\ndue: Sat 2026-11-21 12:30:00 +0000\n"
            "start: Sat 2026-11-21 12:30:00 +0000\nduration: 0.000s\noutcome: failed\n"
            "job   outcome  code  start                          duration  output   remark\n"
            "good  success  0     Sat 2026-11-21 12:30:00 +0000  0.000s    5 bytes  \n"
            "bad   failed   3     Sat 2026-11-21 12:30:00 +0000  0.000s    0 bytes  \n");
}

TEST_F(HistoryScreen, of_each_run_that_is_kept_is_there) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, daily(12, 30)), 0u);
  for (int i = 0; i < 3; i++)
    pass_to(world, due + i * day);
  for (const uint64_t run : {1, 2, 3})
    EXPECT_THAT(history(world, {run, 0, 0}), HasSubstr("run: " + std::to_string(run) + "\n"));
}

TEST_F(HistoryScreen, of_one_run_has_what_the_service_remarked) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, daily(12, 30)), 0u);
  pass_to(world, due + 10 * minute);
  const std::string run = history(world, {1, 0, 0});
  EXPECT_THAT(run, HasSubstr("\nstart: -\nduration: -\noutcome: missed\n"));
  EXPECT_THAT(run, HasSubstr("\n-    missed   112   -      -         0 bytes  missed: it was due at "));
}

TEST_F(HistoryScreen, of_a_run_that_is_not_kept_or_is_anothers_says_so) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, daily(12, 30)), 0u);
  pass_to(world, due);
  const auto status = [&](uint64_t run, const host::Caller &caller) {
    return ask(world, control::Operation::show_history, query(control::HistoryQuery{run, 0, 0}), caller).status;
  };
  EXPECT_EQ(status(1, root()), 0u);
  EXPECT_EQ(status(2, root()), control::err_no_history_of_run);
  EXPECT_EQ(status(UINT64_MAX, root()), control::err_no_history_of_run);
  EXPECT_EQ(status(1, nobody()), control::err_no_history_of_run);
}

TEST_F(HistoryScreen, refuses_a_query_that_is_cut_or_out_of_range) {
  const auto status = [&](const Bytes &payload) {
    return ask(world, control::Operation::show_history, payload).status;
  };
  Bytes cut = query(control::HistoryQuery{});
  cut.pop_back();
  EXPECT_EQ(status(cut), host::err_bad_request);
  EXPECT_EQ(status(query(control::HistoryQuery{0, control::query_lines_limit, 0})), 0u);
  EXPECT_EQ(status(query(control::HistoryQuery{0, control::query_lines_limit + 1, 0})), host::err_bad_value);
  EXPECT_EQ(status(query(control::HistoryQuery{0, 0, 2})), host::err_bad_value);
}

TEST(ShownTime, spans_have_the_two_largest_units) {
  using service::shown_duration, service::shown_wait;
  EXPECT_EQ(shown_wait(-1), "now");
  EXPECT_EQ(shown_wait(0), "now");
  EXPECT_EQ(shown_wait(59), "59s");
  EXPECT_EQ(shown_wait(60), "1m 00s");
  EXPECT_EQ(shown_wait(3599), "59m 59s");
  EXPECT_EQ(shown_wait(3600), "1h 00m");
  EXPECT_EQ(shown_wait(day - 1), "23h 59m");
  EXPECT_EQ(shown_wait(2 * day + 3 * 3600), "2d 03h");
  EXPECT_EQ(shown_duration(-5), "0.000s");
  EXPECT_EQ(shown_duration(59999), "59.999s");
  EXPECT_EQ(shown_duration(60000), "1m 00s");
}

}  // namespace
}  // namespace service_test
