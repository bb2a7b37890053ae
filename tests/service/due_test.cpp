// SPDX-License-Identifier: Apache-2.0
// Due times on a clock that stands where a test puts it: run, missed, skipped, interrupted, and a clock that is set.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "control/operations.h"
#include "host/status.h"
#include "service/request/control.h"
#include "service/run/due.h"
#include "service/run/history.h"
#include "service/run/outcome.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr time_t minute = 60, hour = 3600, day = 86400;

uint32_t code(service::Reason reason) {
  return service::exit_code(reason);
}

struct Scheduled : ::testing::Test {
  World world;

  void configure(const sch_tminfo &time) {
    ASSERT_EQ(create_job(world, "job", "echo ran\n"), 0u);
    ASSERT_EQ(create_schedule(world, "s", {"job"}, time), 0u);
  }
};

TEST_F(Scheduled, daily_runs_at_its_second_and_is_due_a_day_later) {
  configure(daily(12, 30));
  due_now(world, noon + 30 * minute - 1);
  EXPECT_THAT(log_of(world), SizeIs(0));
  due_now(world, noon + 30 * minute);
  EXPECT_THAT(log_of(world), ElementsAre(Logged{"job", "s", "root", "ran\n", 0, noon + 30 * minute}));
  EXPECT_EQ(state_of_schedule("s").next_due, noon + 30 * minute + day);
  EXPECT_EQ(state_of_schedule("s").execution_count, 1u);
  EXPECT_EQ(state_of_schedule("s").last_execution, noon + 30 * minute);
  EXPECT_EQ(state_of_schedule("s").last_completion, noon + 30 * minute);
  EXPECT_EQ(state_of_schedule("s").running_since, 0u);
  due_now(world, noon + 30 * minute);
  EXPECT_THAT(log_of(world), SizeIs(1));
}

TEST_F(Scheduled, once_runs_once) {
  configure(once(12, 30));
  due_now(world, noon + 30 * minute);
  EXPECT_EQ(state_of_schedule("s").next_due, 0u);
  due_now(world, noon + 365 * day);
  world.restart();
  EXPECT_THAT(log_of(world), SizeIs(1));
}

TEST_F(Scheduled, periodic_runs_at_its_start_and_stays_on_its_slots_when_it_is_late) {
  configure(every(10, noon + 5 * minute));
  EXPECT_EQ(state_of_schedule("s").next_due, noon + 5 * minute);
  due_now(world, noon + 5 * minute);
  EXPECT_EQ(state_of_schedule("s").next_due, noon + 15 * minute);
  due_now(world, noon + 15 * minute + 40);  // late, but not too late
  EXPECT_EQ(state_of_schedule("s").next_due, noon + 25 * minute);
  EXPECT_EQ(service::find_schedule("s")->rec->time.last_run, noon + 15 * minute);
  EXPECT_THAT(log_of(world), SizeIs(2));
}

TEST_F(Scheduled, periodic_that_missed_many_slots_tells_once_and_goes_on_with_the_next) {
  configure(every(10, noon + 5 * minute));
  due_now(world, noon + 5 * minute);
  set_clock(noon + 3 * hour);
  world.restart();
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(2));
  EXPECT_EQ(log[1].exit_code, code(service::Reason::missed));
  EXPECT_EQ(
      log[1].output,
      "[missed: 17 due times, the first at Sat Nov 21 12:15:00 2026, the last at Sat Nov 21 14:55:00 2026, found at "
      "Sat Nov 21 15:00:00 2026; next at Sat Nov 21 15:05:00 2026]\n");
  EXPECT_EQ(state_of_schedule("s").next_due, noon + 3 * hour + 5 * minute);
}

TEST_F(Scheduled, once_that_was_missed_is_told_once_and_never_runs) {
  configure(once(12, 30));
  set_clock(noon + hour);
  world.restart();
  world.restart();
  due_now(world, noon + 2 * hour);
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(1));
  EXPECT_EQ(log[0].job, "-");
  EXPECT_EQ(log[0].schedule, "s");
  EXPECT_EQ(log[0].exit_code, code(service::Reason::missed));
  EXPECT_THAT(log[0].output, HasSubstr("it does not run again"));
  EXPECT_EQ(state_of_schedule("s").execution_count, 0u);
}

TEST_F(Scheduled, a_start_before_the_due_time_misses_nothing) {
  configure(daily(12, 30));
  set_clock(noon + 30 * minute - 1);
  world.restart();
  EXPECT_EQ(state_of_schedule("s").next_due, noon + 30 * minute);
  EXPECT_THAT(log_of(world), SizeIs(0));
}

TEST_F(Scheduled, noticed_at_the_limit_it_still_runs_and_a_second_later_it_is_missed) {
  configure(daily(12, 30));
  due_now(world, noon + 30 * minute + 60);
  due_now(world, noon + day + 30 * minute + 61);
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(2));
  EXPECT_EQ(log[0].exit_code, 0u);
  EXPECT_EQ(log[1].exit_code, code(service::Reason::missed));
  EXPECT_EQ(state_of_schedule("s").next_due, noon + 2 * day + 30 * minute);
}

TEST_F(Scheduled, due_while_the_run_before_is_under_way_it_is_skipped) {
  ASSERT_EQ(create_job(world, "slow", "read line < /dev/null; sleep 0.2\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"slow"}, every(1, noon + minute)), 0u);
  set_clock(noon + minute);
  world.parts->scheduler.check();
  set_clock(noon + 2 * minute);
  world.parts->scheduler.check();
  world.run_to_the_end();
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(2));
  EXPECT_EQ(log[0].exit_code, code(service::Reason::skipped));
  EXPECT_EQ(log[0].job, "-");
  EXPECT_THAT(log[0].output, HasSubstr("due at Sat Nov 21 12:02:00 2026"));
  EXPECT_EQ(log[1].job, "slow");
  EXPECT_EQ(state_of_schedule("s").execution_count, 1u);
  EXPECT_EQ(state_of_schedule("s").next_due, noon + 3 * minute);
}

TEST_F(Scheduled, of_two_due_times_that_are_found_together_one_runs_and_the_other_is_skipped) {
  configure(every(1, noon + minute));
  due_now(world, noon + 2 * minute);
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(2));
  EXPECT_EQ(log[0].exit_code, code(service::Reason::skipped));
  EXPECT_EQ(log[1].job, "job");
  EXPECT_EQ(state_of_schedule("s").execution_count, 1u);
}

TEST_F(Scheduled, due_without_jobs_it_says_so_and_counts_no_execution) {
  ASSERT_EQ(create_schedule(world, "s", {}, daily(12, 30)), 0u);
  due_now(world, noon + 30 * minute);
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(1));
  EXPECT_EQ(log[0].exit_code, code(service::Reason::no_jobs));
  EXPECT_EQ(state_of_schedule("s").execution_count, 0u);
  EXPECT_EQ(state_of_schedule("s").last_completion, 0u);
  EXPECT_EQ(state_of_schedule("s").next_due, noon + day + 30 * minute);
}

Logged interrupted(const std::string &job, time_t begun, const std::string &begun_text) {
  return {job,
          "s",
          "root",
          "[interrupted: the service ended during the run that began at " + begun_text + "]\n",
          code(service::Reason::interrupted),
          begun + minute};
}

// Memory goes as in a crash: what the store holds is all that is left.
TEST_F(Scheduled, a_crash_leaves_one_outcome_for_each_job_of_the_run_and_none_is_told_again) {
  configure(daily(12, 30));
  ASSERT_EQ(create_job(world, "slow", "sleep 100\n"), 0u);
  ASSERT_EQ(create_job(world, "third", "echo\n"), 0u);
  for (const char *job : {"slow", "third"})
    ASSERT_EQ(
        world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_MODIFY_SCHEDULE, modify_payload("s", SCH_MODIFY_JOB, false, job))
            .status,
        0u);
  const time_t due = noon + 30 * minute;
  set_clock(due);
  world.parts->scheduler.check();
  while (log_of(world).empty())
    world.loop.turn();
  set_clock(due + minute);
  world.restart();
  EXPECT_THAT(log_of(world), ElementsAre(Logged{"job", "s", "root", "ran\n", 0, due},
                                         interrupted("slow", due, "Sat Nov 21 12:30:00 2026"),
                                         interrupted("third", due, "Sat Nov 21 12:30:00 2026")));
  const std::vector<service::HistoryRun> runs = service::read_history(*service::find_schedule("s"));
  ASSERT_THAT(runs, SizeIs(1));
  for (const service::Outcome &outcome : runs[0].outcomes)
    EXPECT_EQ(outcome.due, due);
  EXPECT_EQ(service::find_status(sch_job_list[0], "s")->words[0], 0u);
  EXPECT_EQ(service::find_status(sch_job_list[1], "s")->words[0], service::exit_status(service::Reason::interrupted));
  EXPECT_EQ(state_of_schedule("s").running_since, 0u);
  EXPECT_EQ(state_of_schedule("s").last_execution, static_cast<uint32_t>(due));
  EXPECT_EQ(state_of_schedule("s").execution_count, 1u);
  EXPECT_EQ(state_of_schedule("s").next_due, due + day);
  world.restart();
  world.run_to_the_end();
  EXPECT_THAT(log_of(world), SizeIs(3));
}

// A version before kept the run state in the schedule's record.
TEST_F(Scheduled, a_run_that_a_crash_of_the_version_before_interrupted_is_told_once_with_its_job) {
  configure(daily(12, 30));
  ASSERT_EQ(create_job(world, "second", "echo ran\n"), 0u);
  sch_schedule_entry *entry = service::find_schedule("s");
  service::ScheduleState running = state_of_schedule("s");
  running.running_since = static_cast<uint32_t>(noon);
  running.running_job = 1 + 1;
  running.execution_count = 7;
  service::set_state(*entry, running);
  entry->rec->service_head[1] = entry->rec->service_word = 0;
  ASSERT_EQ(sch_save_schedule_entry_to_pss(pss_running, entry), 0);
  set_clock(noon + minute);
  world.restart();
  EXPECT_THAT(log_of(world), ElementsAre(interrupted("second", noon, "Sat Nov 21 12:00:00 2026")));
  EXPECT_EQ(service::find_status(sch_job_list[1], "s")->words[0], service::exit_status(service::Reason::interrupted));
  EXPECT_EQ(state_of_schedule("s").running_since, 0u);
  EXPECT_EQ(state_of_schedule("s").next_due, noon + 30 * minute);
  world.restart();
  EXPECT_THAT(log_of(world), SizeIs(1));
  EXPECT_GE(state_of_schedule("s").execution_count, 7u);
}

TEST_F(Scheduled, a_disabled_feature_runs_nothing_and_makes_up_for_nothing) {
  configure(daily(12, 30));
  const service::Call call = {world.parts->context, root()};
  ASSERT_EQ(service::control(call, control::Operation::disable_feature, {}).status, 0u);
  due_now(world, noon + hour);
  world.restart();
  const service::Call later = {world.parts->context, root()};
  ASSERT_EQ(service::control(later, control::Operation::enable_feature, {}).status, 0u);
  world.parts->scheduler.check();
  EXPECT_THAT(log_of(world), SizeIs(0));
  EXPECT_EQ(state_of_schedule("s").next_due, noon + day + 30 * minute);
}

TEST_F(Scheduled, a_clock_set_back_a_little_repeats_no_run) {
  configure(daily(12, 30));
  due_now(world, noon + 30 * minute);
  set_clock(noon + 29 * minute);
  world.parts->scheduler.clock_set(-minute);
  EXPECT_EQ(state_of_schedule("s").next_due, noon + day + 30 * minute);
  due_now(world, noon + 30 * minute);
  EXPECT_THAT(log_of(world), SizeIs(1));
}

TEST_F(Scheduled, a_clock_that_had_been_wrong_by_hours_computes_every_schedule_anew) {
  configure(daily(12, 30));
  ASSERT_EQ(create_schedule(world, "p", {"job"}, every(10, noon + 5 * minute)), 0u);
  due_now(world, noon + 30 * minute);
  set_clock(noon - 30 * day);
  world.parts->scheduler.clock_set(-30 * day);
  EXPECT_EQ(state_of_schedule("s").next_due, noon - 30 * day + 30 * minute);
  EXPECT_EQ(state_of_schedule("p").next_due, noon - 30 * day + 5 * minute);
}

TEST_F(Scheduled, after_a_clock_that_had_been_wrong_by_a_year_what_repeats_goes_on_at_once) {
  ASSERT_EQ(create_job(world, "job", "echo ran\n"), 0u);
  ASSERT_EQ(create_schedule(world, "p", {"job"}, every(1, noon)), 0u);
  ASSERT_EQ(create_schedule(world, "not-begun", {"job"}, every(1, noon + hour)), 0u);
  due_now(world, noon);
  due_now(world, noon + minute);
  const time_t right = noon - 365 * day + 7;
  set_clock(right);
  world.restart();  // the clock was set while the service was down
  EXPECT_EQ(state_of_schedule("p").next_due, noon - 365 * day + minute);
  EXPECT_EQ(state_of_schedule("not-begun").next_due, noon + hour);  // its start is what the operator typed
  for (int i = 1; i <= 3; i++)
    due_now(world, noon - 365 * day + i * minute);
  EXPECT_THAT(log_of(world), SizeIs(5));
  world.restart();
  EXPECT_EQ(state_of_schedule("p").next_due, noon - 365 * day + 4 * minute);
}

TEST_F(Scheduled, what_repeats_goes_on_within_two_periods_when_the_clock_is_set_back_to_the_epoch) {
  ASSERT_EQ(create_job(world, "job", "echo ran\n"), 0u);
  ASSERT_EQ(create_schedule(world, "p", {"job"}, every(60, noon)), 0u);
  due_now(world, noon);
  constexpr time_t epoch = 10;
  set_clock(epoch);
  world.parts->scheduler.clock_set(epoch - noon);
  EXPECT_GT(state_of_schedule("p").next_due, epoch);
  EXPECT_LE(state_of_schedule("p").next_due, epoch + 2 * hour);
}

TEST_F(Scheduled, a_clock_set_forward_over_a_due_time_misses_it) {
  configure(daily(12, 30));
  set_clock(noon + hour);
  world.parts->scheduler.clock_set(hour);
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(1));
  EXPECT_EQ(log[0].exit_code, code(service::Reason::missed));
}

TEST_F(Scheduled, the_earliest_of_all_is_what_is_waited_for) {
  EXPECT_EQ(service::earliest_due(), 0u);
  ASSERT_EQ(create_schedule(world, "late", {}, daily(14, 0)), 0u);
  ASSERT_EQ(create_schedule(world, "early", {}, daily(13, 0)), 0u);
  ASSERT_EQ(create_schedule(world, "never", {}, {}), 0u);
  EXPECT_EQ(service::earliest_due(), noon + hour);
}

}  // namespace
}  // namespace service_test
