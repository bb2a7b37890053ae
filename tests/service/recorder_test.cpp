// SPDX-License-Identifier: Apache-2.0
// Runs on disk: each due time and job has exactly one outcome, whatever fails, and the steps are few.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <map>

#include "control/operations.h"
#include "control/statuses.h"
#include "host/files/paths.h"
#include "service/request/control.h"
#include "tests/host/store_commits.h"
#include "tests/service/recorded_fixture.h"
#include "tests/service/store_faults.h"

namespace service_test {
namespace {

uint64_t commits_on_disk() {
  return store_test::commits_below(host::paths().state);
}

// Two schedules that are due, with a place for one.
struct Queued : Recorded {
  void SetUp() override {
    world.settings.max_parallel = 1;
    world.use(world.settings);
    configure("first", {"job"}, daily(12, 30));
    configure("second", {"job"}, daily(12, 30));
    set_clock(due);
    world.parts->scheduler.check();
  }
};

TEST_F(Recorded, a_run_alone_is_two_commits_its_intent_and_its_outcome) {
  configure("s", {"job"}, daily(12, 30));
  pass_to(world, due);
  const uint64_t before = commits_on_disk();
  pass_to(world, due + day);
  EXPECT_EQ(commits_on_disk() - before, 2u);
}

TEST_F(Recorded, what_is_due_together_shares_its_commits) {
  constexpr int schedules = 100;
  ASSERT_EQ(create_job(world, "job", "exit 0\n"), 0u);
  for (int i = 0; i < schedules; i++)
    ASSERT_EQ(create_schedule(world, "s" + std::to_string(i), {"job"}, daily(12, 30)), 0u);
  set_clock(due);
  uint64_t before = commits_on_disk();
  world.parts->scheduler.check();
  EXPECT_EQ(commits_on_disk() - before, 1u) << "all intents before the first process";
  before = commits_on_disk();
  world.settle();
  EXPECT_LT(commits_on_disk() - before, uint64_t{schedules} / 2);
  for (int i = 0; i < schedules; i++)
    EXPECT_EQ(history("s" + std::to_string(i)).size(), 1u) << i;
}

TEST_F(Queued, a_schedule_deleted_while_it_waits_for_its_turn_leaves_its_outcome_in_the_log) {
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_DELETE_SCHEDULE, schedule_payload("second")).status, 0u);
  world.settle();
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(2));
  std::map<std::string, std::string> output;
  for (const Logged &entry : log)
    output[entry.schedule] = entry.output;
  EXPECT_EQ(output["first"], "job\n");
  EXPECT_EQ(output["second"], "[skipped: the schedule was deleted before its turn came]\n");
}

TEST_F(Queued, a_run_killed_before_its_turn_is_under_way_until_that_is_stored) {
  service::Runner &runner = world.parts->runner;
  const auto waiting = [&] {
    std::vector<std::string> names;
    for (const service::Runner::UnderWay &run : runner.list())
      if (run.waits) names.push_back(run.schedule);
    return names;
  };
  ASSERT_THAT(waiting(), ElementsAre("second"));
  const uint64_t number = runner.list().back().ticket.number;
  ASSERT_TRUE(runner.kill(number, "root"));
  EXPECT_THAT(waiting(), ElementsAre("second"));
  EXPECT_TRUE(runner.kill(number, "root"));
  world.settle();
  EXPECT_THAT(waiting(), SizeIs(0));
  ASSERT_THAT(history("second"), SizeIs(1));
  EXPECT_THAT(history("second").front().outcomes, SizeIs(1));
  EXPECT_EQ(history("second").front().outcomes.front().reason, Reason::killed);
}

// Each store call of a run once refused: nothing is lost, nothing is told twice, nothing runs twice.
TEST_F(Recorded, a_refusal_of_any_store_call_of_a_run_is_made_up_for) {
  configure("s", {"first", "second"}, daily(12, 30));
  int nth = 1;
  for (;; nth++) {
    const time_t now = due + (nth - 1) * day;
    fail_store_call(nth);
    pass_to(world, now);
    const bool failed = store_call_failed();
    fail_store_call(0);
    const std::vector<HistoryRun> runs = history("s");
    ASSERT_FALSE(runs.empty()) << nth;
    ASSERT_THAT(runs[0].outcomes, SizeIs(2)) << nth;
    for (const Outcome &outcome : runs[0].outcomes) {
      EXPECT_EQ(outcome.due, now) << nth;
      EXPECT_EQ(outcome.reason, Reason::ended) << nth;
    }
    ASSERT_EQ(state_of_schedule("s").execution_count, nth);
    ASSERT_EQ(state_of_schedule("s").running_since, 0u);
    if (!failed) break;
  }
  EXPECT_GT(nth, 8);
  EXPECT_THAT(log_of(world), SizeIs(2 * nth));
}

TEST_F(Recorded, what_cannot_be_stored_does_not_run_and_is_missed_when_it_has_become_too_late) {
  configure("s", {"job"}, daily(12, 30));
  set_clock(due);
  fail_store_call(1);
  world.parts->scheduler.check();
  ASSERT_TRUE(store_call_failed());
  EXPECT_EQ(world.parts->runner.under_way(), 0u);
  EXPECT_EQ(state_of_schedule("s").next_due, due);
  EXPECT_THAT(log_of(world), SizeIs(0));
  pass_to(world, due + service::late_limit_s + 1);
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(1));
  EXPECT_EQ(log[0].exit_code, service::exit_code(Reason::missed));
}

// Runs `act` and its checks in a process of their own. False: it was killed.
bool in_another_process(const std::function<void()> &act) {
  const pid_t child = fork();
  if (child == 0) {
    act();
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
  return WIFEXITED(status);
}

int lines(const std::string &file) {
  std::ifstream stream(file);
  int count = 0;
  for (std::string line; std::getline(stream, line);)
    count++;
  return count;
}

void expect_one_outcome_for_each_job(int runs) {
  const std::vector<HistoryRun> found = history("s");
  ASSERT_THAT(found, SizeIs(runs));
  for (const HistoryRun &run : found) {
    ASSERT_THAT(run.outcomes, SizeIs(2));
    EXPECT_EQ(run.outcomes[0].job, "first");
    EXPECT_EQ(run.outcomes[1].job, "second");
    EXPECT_EQ(run.outcomes[0].due, run.outcomes[1].due);
  }
}

// kill -9 before and after each store call of a start with a run in it.
TEST(Killed, at_any_store_call_each_due_time_and_job_has_one_outcome_and_no_run_is_repeated) {
  const Directory directory;
  const std::string ran = directory.path() + "/ran-";
  ASSERT_TRUE(in_another_process([&] {
    World world(directory.path(), noon);
    ASSERT_EQ(service::control({world.parts->context, root()}, control::Operation::enable_feature, {}).status, 0u);
    ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_RESIZE_LOG, log_payload("", "", 1024 * 1024)).status, 0u);
    for (const std::string job : {"first", "second"})
      ASSERT_EQ(create_job(world, job, "echo >> " + ran + job + "\n"), 0u);
    ASSERT_EQ(create_schedule(world, "s", {"first", "second"}, daily(12, 30)), 0u);
  }));
  bool survived = false;
  int point = 1;
  for (; !survived; point++) {
    const time_t now = due + (point - 1) * day;
    survived = in_another_process([&] {
      die_at_store_call(point);
      World world(directory.path(), now);
      world.settle();
    });
    ASSERT_TRUE(in_another_process([&] {
      World world(directory.path(), now + 1);
      world.settle();
      expect_one_outcome_for_each_job(point);
      EXPECT_THAT(log_of(world), SizeIs(2 * point));
    })) << "point "
        << point;
    for (const std::string job : {"first", "second"})
      ASSERT_LE(lines(ran + job), point) << "point " << point;
  }
  EXPECT_GT(point, 20);
}

TEST_F(Recorded, a_run_that_somebody_asks_for_leaves_the_due_times_as_they_are) {
  configure("s", {"job"}, daily(12, 30));
  const host::Result<uint64_t> number = world.parts->scheduler.run_now(*service::find_schedule("s"), "root");
  ASSERT_TRUE(number);
  EXPECT_EQ(world.parts->scheduler.run_now(*service::find_schedule("s"), "root").code(), control::err_run_under_way);
  world.settle();
  while (history("s").empty())
    world.loop.turn();
  world.settle();
  const std::vector<HistoryRun> runs = history("s");
  ASSERT_THAT(runs, SizeIs(1));
  EXPECT_EQ(runs[0].number, *number);
  EXPECT_EQ(runs[0].outcomes[0].due, 0u);
  EXPECT_EQ(runs[0].outcomes[0].asked_by, "root");
  EXPECT_EQ(state_of_schedule("s").next_due, due);
}

TEST_F(Recorded, a_run_interrupted_in_the_second_of_the_run_before_counts_as_an_execution) {
  configure("s", {"job"}, daily(12, 30));
  pass_to(world, due);
  ASSERT_EQ(state_of_schedule("s").execution_count, 1u);
  ASSERT_TRUE(world.parts->scheduler.run_now(*service::find_schedule("s"), "root"));
  world.restart();
  EXPECT_EQ(history("s").front().outcomes.front().reason, Reason::interrupted);
  EXPECT_EQ(state_of_schedule("s").execution_count, 2u);
  world.restart();
  EXPECT_EQ(state_of_schedule("s").execution_count, 2u);
}

TEST_F(Recorded, a_killed_run_ends_with_its_job_and_starts_no_further_one) {
  ASSERT_EQ(create_job(world, "endless", "sleep 1000\n"), 0u);
  ASSERT_EQ(create_job(world, "next", "echo\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"endless", "next"}, daily(12, 30)), 0u);
  set_clock(due);
  world.parts->scheduler.check();
  const auto under_way = world.parts->runner.list();
  ASSERT_THAT(under_way, SizeIs(1));
  EXPECT_EQ(under_way[0].job, "endless");
  EXPECT_EQ(world.parts->scheduler.kill_run(under_way[0].ticket.number + 1, "root").code(), control::err_no_such_run);
  ASSERT_TRUE(world.parts->scheduler.kill_run(under_way[0].ticket.number, "root"));
  world.settle();
  const std::vector<HistoryRun> runs = history("s");
  ASSERT_THAT(runs, SizeIs(1));
  ASSERT_THAT(runs[0].outcomes, SizeIs(2));
  for (const Outcome &outcome : runs[0].outcomes) {
    EXPECT_EQ(outcome.reason, Reason::killed);
    EXPECT_EQ(outcome.remark, "killed: asked for by root");
    EXPECT_NE(outcome.wait_status, 0u);
  }
}

TEST_F(Recorded, a_disabled_schedule_is_not_due_until_it_is_enabled_again) {
  configure("s", {"job"}, daily(12, 30));
  ASSERT_TRUE(world.parts->scheduler.set_enabled(*service::find_schedule("s"), false));
  pass_to(world, due);
  set_clock(due + minute);
  world.restart();
  EXPECT_FALSE(service::is_enabled(*service::find_schedule("s")->rec));
  pass_to(world, due + day);
  EXPECT_THAT(log_of(world), SizeIs(0));
  ASSERT_TRUE(world.parts->scheduler.set_enabled(*service::find_schedule("s"), true));
  EXPECT_EQ(state_of_schedule("s").next_due, due + 2 * day);
}

TEST_F(Recorded, of_many_missed_due_times_the_last_one_runs_where_that_is_wanted) {
  world.settings.missed = service::MissedPolicy::run_once;
  world.use(world.settings);
  configure("s", {"job"}, daily(12, 30));
  pass_to(world, due + 3 * day + 60 * minute);
  const std::vector<HistoryRun> runs = history("s");
  ASSERT_THAT(runs, SizeIs(2));
  std::map<Reason, Outcome> by_reason;
  for (const HistoryRun &run : runs)
    by_reason[run.outcomes[0].reason] = run.outcomes[0];
  EXPECT_EQ(by_reason[Reason::missed].missed_count, 3u);
  EXPECT_EQ(by_reason[Reason::missed].due, due);
  EXPECT_EQ(by_reason[Reason::missed].missed_last, due + 2 * day);
  EXPECT_EQ(by_reason[Reason::ended].due, due + 3 * day);
}

TEST_F(Recorded, due_times_that_are_missed_apart_are_runs_of_their_own) {
  configure("s", {"job"}, daily(12, 30));
  pass_to(world, due + 60 * minute);
  pass_to(world, due + day + 60 * minute);
  const std::vector<HistoryRun> runs = history("s");
  ASSERT_THAT(runs, SizeIs(2));
  EXPECT_EQ(runs[0].number, 2u);
  EXPECT_EQ(runs[0].outcomes[0].due, due + day);
  EXPECT_EQ(runs[1].number, 1u);
}

TEST_F(Recorded, due_times_that_are_always_missed_leave_no_more_than_other_runs_do) {
  configure("s", {"job"}, daily(12, 30));
  for (int i = 0; i < 200; i++)
    pass_to(world, due + i * day + 60 * minute);
  EXPECT_LT(service::read_history(*service::find_schedule("s"), 1000).size(), 2 * service::history_runs);
}

TEST_F(Recorded, a_number_that_could_not_be_stored_is_given_to_one_run_alone) {
  configure("s", {"job"}, daily(12, 30));
  service::RunStep step(*service::find_schedule("s"));
  step.outcome.reason = Reason::interrupted;
  fail_store_call(1);
  world.parts->recorder.record(step);
  world.settle();
  ASSERT_TRUE(store_call_failed());
  world.parts->recorder.record(step);
  world.settle();
  const std::vector<HistoryRun> runs = history("s");
  ASSERT_THAT(runs, SizeIs(2));
  EXPECT_EQ(runs[0].number, 2u);
  EXPECT_EQ(runs[1].number, 1u);
}

TEST_F(Recorded, a_restart_within_the_grace_of_a_due_time_loses_no_run) {
  configure("s", {"job"}, daily(12, 30));
  set_clock(due + service::late_limit_s);
  world.restart();
  world.settle();
  EXPECT_THAT(log_of(world), ElementsAre(Logged{"job", "s", "root", "job\n", 0, due + service::late_limit_s}));
}

TEST_F(Recorded, a_clock_that_was_years_ahead_is_believed_no_longer_after_a_restart) {
  configure("s", {"job"}, daily(12, 30));
  pass_to(world, due + 400 * day);
  set_clock(noon + 2 * day);
  world.restart();
  EXPECT_EQ(state_of_schedule("s").next_due, due + 2 * day);
  pass_to(world, due + 2 * day);
  EXPECT_EQ(history("s")[0].outcomes[0].due, due + 2 * day);
}

}  // namespace
}  // namespace service_test
