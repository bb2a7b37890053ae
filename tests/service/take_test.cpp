// SPDX-License-Identifier: Apache-2.0
// Which of the due times that are found late run, and what is told of the others.
#include "service/run/take.h"

#include <algorithm>

#include "service/state/run_state.h"
#include "tests/service/recorded_fixture.h"
#include "tests/service/store_faults.h"

namespace service_test {
namespace {

using service::Reason;

constexpr time_t hour = 60 * minute;
constexpr time_t tolerated = service::late_limit_s;

struct TakeTest : Recorded {
  // Configured at noon, looked at for the first time then.
  void look_at(time_t moment) { pass_to(world, moment); }

  void run_once(int window_s) {
    world.settings.missed = service::MissedPolicy::run_once;
    world.settings.missed_window_s = window_s;
    world.use(world.settings);
  }

  // "reason due count last" of each outcome, in the order of their runs' numbers; times in minutes since noon.
  static std::vector<std::string> outcomes(const std::string &schedule = "s") {
    std::vector<std::string> found;
    const auto minutes = [](uint32_t moment) { return std::to_string((int64_t{moment} - noon) / minute); };
    for (const HistoryRun &run : service::read_history(*service::find_schedule(schedule)))
      for (const Outcome &outcome : run.outcomes)
        found.push_back(std::string(service::word_for(outcome.reason)) + " " + minutes(outcome.due) +
                        (outcome.missed_count == 0
                             ? ""
                             : " " + std::to_string(outcome.missed_count) + " " + minutes(outcome.missed_last)));
    std::ranges::reverse(found);
    return found;
  }

  static uint32_t last_taken() { return service::read_run_state(*service::find_schedule("s"))->last_taken; }
};

TEST_F(TakeTest, one_that_was_missed_is_told_with_its_time) {
  configure("s", {"job"}, daily(12, 30));
  look_at(due + tolerated + 1);
  EXPECT_THAT(outcomes(), ElementsAre("missed 30 1 30"));
  EXPECT_EQ(history("s")[0].outcomes[0].remark,
            "missed: it was due at Sat Nov 21 12:30:00 2026, found at Sat Nov 21 12:31:01 2026; next at Sun Nov 22 "
            "12:30:00 2026");
  EXPECT_EQ(last_taken(), due);
}

TEST_F(TakeTest, periodic_ones_that_were_missed_are_counted_to_the_last) {
  configure("s", {"job"}, every(10, noon + 5 * minute));
  look_at(noon + 65 * minute + tolerated);  // late by no more than that
  EXPECT_THAT(outcomes(), ElementsAre("missed 5 6 55", "ended 65"));
  EXPECT_EQ(last_taken(), noon + 65 * minute);
  look_at(noon + 75 * minute + tolerated + 1);
  EXPECT_THAT(outcomes(), ElementsAre("missed 5 6 55", "ended 65", "missed 75 1 75"));
  EXPECT_EQ(state_of_schedule("s").next_due, noon + 85 * minute);
}

TEST_F(TakeTest, the_only_one_that_was_missed_runs_where_that_is_wanted_and_nothing_is_told) {
  run_once(24 * hour);
  configure("s", {"job"}, daily(12, 30));
  look_at(due + 2 * hour);
  EXPECT_THAT(outcomes(), ElementsAre("ended 30"));
  EXPECT_EQ(last_taken(), due);
  EXPECT_EQ(state_of_schedule("s").next_due, due + day);
}

TEST_F(TakeTest, one_that_was_missed_too_long_ago_does_not_run) {
  run_once(2 * hour);
  configure("s", {"job"}, daily(12, 30));
  look_at(due + 2 * hour);
  look_at(due + day + 2 * hour + 1);
  EXPECT_THAT(outcomes(), ElementsAre("ended 30", "missed 1470 1 1470"));
}

TEST_F(TakeTest, a_day_is_too_long_ago_where_nothing_else_is_wanted) {
  world.settings.missed = service::MissedPolicy::run_once;
  world.use(world.settings);
  configure("s", {"job"}, once(12, 30));
  configure("t", {"job"}, once(12, 31));
  look_at(due + day + minute);
  EXPECT_THAT(outcomes(), ElementsAre("missed 30 1 30"));
  EXPECT_THAT(outcomes("t"), ElementsAre("ended 31"));
}

TEST_F(TakeTest, of_two_that_were_missed_the_second_runs_and_the_first_is_told) {
  run_once(24 * hour);
  configure("s", {"job"}, daily(12, 30));
  look_at(due + day + hour);
  EXPECT_THAT(outcomes(), ElementsAre("missed 30 1 30", "ended 1470"));
}

TEST_F(TakeTest, of_periodic_ones_that_were_missed_the_last_runs_and_those_before_are_told) {
  run_once(24 * hour);
  configure("s", {"job"}, every(60, noon + 5 * minute));
  look_at(noon + 4 * hour);
  EXPECT_THAT(outcomes(), ElementsAre("missed 5 3 125", "ended 185"));
  EXPECT_EQ(last_taken(), noon + 185 * minute);
}

TEST_F(TakeTest, where_one_is_on_time_none_that_was_missed_runs_as_well) {
  run_once(24 * hour);
  configure("s", {"job"}, every(60, noon + 5 * minute));
  look_at(noon + 125 * minute);
  EXPECT_THAT(outcomes(), ElementsAre("missed 5 2 65", "ended 125"));
}

TEST_F(TakeTest, without_the_wish_none_that_was_missed_runs) {
  configure("s", {"job"}, every(60, noon + 5 * minute));
  look_at(noon + 4 * hour);
  EXPECT_THAT(outcomes(), ElementsAre("missed 5 4 185"));
}

TEST_F(TakeTest, of_many_years_a_thousand_are_counted_and_the_rest_are_passed_over) {
  configure("s", {"job"}, daily(12, 30));
  look_at(due + 1100 * day + hour);
  EXPECT_THAT(outcomes(), ElementsAre("missed 30 1000 " + std::to_string(30 + 999 * 1440)));
  EXPECT_EQ(state_of_schedule("s").next_due, due + 1101 * day);
}

TEST_F(TakeTest, what_is_found_together_while_nothing_could_be_stored_is_taken_when_it_can_be) {
  configure("s", {"job"}, every(60, noon + 5 * minute));
  const std::string before = configuration();
  set_clock(noon + 125 * minute);
  fail_store_call(1);
  world.parts->scheduler.check();
  ASSERT_TRUE(store_call_failed());
  EXPECT_EQ(configuration(), before);
  EXPECT_EQ(world.parts->runner.under_way(), 0u);
  while (world.parts->recorder.failing())
    world.loop.turn();
  world.settle();
  EXPECT_THAT(outcomes(), ElementsAre("missed 5 2 65", "ended 125"));
}

TEST_F(TakeTest, each_schedule_that_is_due_has_its_own_decision) {
  ASSERT_EQ(create_schedule(world, "bare", {}, daily(12, 30)), 0u);
  configure("late", {"job"}, daily(12, 10));
  configure("s", {"job"}, daily(12, 30));
  look_at(due);
  EXPECT_THAT(outcomes("bare"), ElementsAre("no-jobs 30"));
  EXPECT_THAT(outcomes("late"), ElementsAre("missed 10 1 10"));
  EXPECT_THAT(outcomes("s"), ElementsAre("ended 30"));
  EXPECT_EQ(state_of_schedule("bare").execution_count, 0u);
}

}  // namespace
}  // namespace service_test
