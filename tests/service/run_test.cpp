// SPDX-License-Identifier: Apache-2.0
// Runs of schedules, with real processes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "host/loop/loop.h"
#include "host/security/account_state.h"
#include "service/run/outcome.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

TEST(Run, jobs_run_in_ascending_id_each_with_its_outcome) {
  World world;
  for (const char *name : {"first", "second", "third"})
    ASSERT_EQ(create_job(world, name, std::string("echo ") + name + "; exit " + (name[0] == 's' ? "2" : "0") + "\n"),
              0u);
  ASSERT_EQ(create_schedule(world, "s", {"third", "second", "first"}, daily(12, 1)), 0u);
  due_now(world, noon + 60);
  EXPECT_THAT(log_of(world), ElementsAre(Logged{"first", "s", "root", "first\n", 0, noon + 60},
                                         Logged{"second", "s", "root", "second\n", 2, noon + 60},
                                         Logged{"third", "s", "root", "third\n", 0, noon + 60}));
  const std::string before = configuration();
  EXPECT_EQ(service::find_status(sch_job_list[1], "s")->words[0], 2u << 8);
  EXPECT_EQ(service::find_status(sch_job_list[1], "s")->words[1], noon + 60);
  world.restart();
  EXPECT_EQ(configuration(), before);
  EXPECT_THAT(log_of(world), SizeIs(3));
}

TEST(Run, a_job_without_text_runs_and_succeeds) {
  World world;
  ASSERT_EQ(create_job(world, "empty", ""), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"empty"}, daily(12, 1)), 0u);
  due_now(world, noon + 60);
  EXPECT_THAT(log_of(world), ElementsAre(Logged{"empty", "s", "root", "", 0, noon + 60}));
}

TEST(Run, a_job_deleted_while_it_runs_leaves_its_line_and_no_status) {
  World world;
  ASSERT_EQ(create_job(world, "slow", "sleep 0.2; exit 5\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"slow"}, daily(12, 1)), 0u);
  set_clock(noon + 60);
  world.parts->scheduler.check();
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_DELETE_JOB, job_payload("slow")).status, 0u);
  ASSERT_EQ(create_job(world, "slow", "echo\n"), 0u);  // in the same slot, by the same name
  world.run_to_the_end();
  EXPECT_THAT(log_of(world), ElementsAre(Logged{"slow", "s", "root", "", 5, noon + 60}));
  EXPECT_EQ(sch_job_list[0].status_list, nullptr);
}

TEST(Run, a_schedule_deleted_while_it_runs_starts_no_further_job) {
  World world;
  ASSERT_EQ(create_job(world, "slow", "sleep 0.2\n"), 0u);
  ASSERT_EQ(create_job(world, "next", "echo\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"slow", "next"}, daily(12, 1)), 0u);
  set_clock(noon + 60);
  world.parts->scheduler.check();
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_DELETE_SCHEDULE, schedule_payload("s")).status, 0u);
  world.run_to_the_end();
  EXPECT_THAT(log_of(world), SizeIs(1));
}

TEST(Run, the_services_end_stops_the_run_and_records_it) {
  World world;
  ASSERT_EQ(create_job(world, "endless", "echo begun; sleep 1000\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"endless"}, daily(12, 1)), 0u);
  set_clock(noon + 60);
  world.parts->scheduler.check();
  for (int i = 0; i < 1000; i++) {
    world.loop.turn_without_waiting();
    usleep(200);
  }
  world.parts->runner.stop_all();
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(1));
  EXPECT_EQ(log[0].exit_code, service::exit_code(service::Reason::stopped));
  EXPECT_EQ(log[0].output, "begun\n[stopped: the scheduler service ended]\n");
  world.restart();
  EXPECT_THAT(log_of(world), SizeIs(1));  // not interrupted: it was an orderly end
}

TEST(Run, the_services_end_between_two_jobs_ends_the_run_once) {
  World world;
  ASSERT_EQ(create_job(world, "done", "true\n"), 0u);
  ASSERT_EQ(create_job(world, "next", "true\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"done", "next"}, daily(12, 1)), 0u);
  set_clock(noon + 60);
  world.parts->scheduler.check();
  while (world.parts->recorder.waiting() == 0)  // the first job's outcome is to be stored before the next one starts
    world.loop.turn();
  world.parts->runner.stop_all();
  EXPECT_EQ(world.parts->recorder.waiting(), 0u);
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(2));
  EXPECT_EQ(log[0].exit_code, 0u);
  EXPECT_EQ(log[1].exit_code, service::exit_code(service::Reason::stopped));
}

TEST(Run, more_due_schedules_than_run_at_once_wait_for_their_turn_and_are_told_when_the_service_ends) {
  World world;
  ASSERT_EQ(create_job(world, "slow", "sleep 0.3\n"), 0u);
  constexpr size_t count = 67, at_once = 48;  // of one owner: the other 16 places are for other owners
  for (size_t i = 0; i < count; i++)
    ASSERT_EQ(create_schedule(world, "s" + std::to_string(i), {"slow"}, daily(12, 1)), 0u);
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_RESIZE_LOG, log_payload("", "", 1024 * 1024)).status, 0u);
  due_now(world, noon + 60);
  EXPECT_THAT(log_of(world), SizeIs(count));
  set_clock(noon + 60 + 86400);
  world.parts->scheduler.check();
  EXPECT_EQ(world.parts->runner.under_way(), count);
  EXPECT_EQ(world.parts->runner.begun(), at_once);
  world.parts->runner.stop_all();
  EXPECT_EQ(world.parts->runner.under_way(), 0u);
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(2 * count));
  EXPECT_EQ(log.back().job, "-");
  EXPECT_EQ(log.back().exit_code, service::exit_code(service::Reason::stopped));
  EXPECT_EQ(service::state_of(*service::find_schedule(log.back().schedule)->rec).last_completion, noon + 60);
}

TEST(Run, a_schedule_that_waits_for_its_turn_is_not_queued_again) {
  World world;
  service::Settings settings;
  settings.max_parallel = 1;
  world.use(settings);
  ASSERT_EQ(create_job(world, "endless", "exec sleep 1000\n"), 0u);
  ASSERT_EQ(create_schedule(world, "runs", {"endless"}, daily(12, 1)), 0u);
  ASSERT_EQ(create_schedule(world, "waits", {"endless"}, every(1, noon + 60)), 0u);
  for (time_t minute = 1; minute <= 3; minute++) {
    set_clock(noon + 60 * minute);
    world.parts->scheduler.check();
    EXPECT_EQ(world.parts->runner.begun(), 1u);
    EXPECT_EQ(world.parts->runner.waiting(), 1u);
  }
  world.parts->runner.stop_all();
  size_t skipped = 0;
  for (const Logged &entry : log_of(world, root(), "waits"))
    skipped += entry.exit_code == service::exit_code(service::Reason::skipped) ? 1 : 0;
  EXPECT_EQ(skipped, 2u);
}

// The schedule's owner as the store has it, changed to one who is not to be trusted.
void change_owner(const char *name, uint32_t tag) {
  sch_schedule_entry &entry = *service::find_schedule("s");
  service::ScheduleState state = service::state_of(*entry.rec);
  std::snprintf(state.owner, sizeof state.owner, "%s", name);
  state.owner_tag = tag;
  service::set_state(entry, state);
}

TEST(Run, an_owner_who_is_gone_or_another_by_now_gets_a_recorded_refusal) {
  World world({.change_user = true});
  ASSERT_EQ(create_job(world, "job", "echo ran\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"job"}, every(1, noon + 60)), 0u);
  const uint32_t refused = service::exit_code(service::Reason::user);
  change_owner("no-such-user", 1);
  due_now(world, noon + 60);
  change_owner("daemon", 1);  // the number is root's
  due_now(world, noon + 120);
  change_owner("daemon", daemon_user().uid + 1);  // the job stays root's
  due_now(world, noon + 180);
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(3));
  EXPECT_EQ(log[0].output, "[there is no user no-such-user]\n");
  EXPECT_EQ(log[1].output, "[user daemon is not the one who configured the schedule]\n");
  EXPECT_EQ(log[2].output, "[the job belongs to another user than the schedule]\n");
  for (const Logged &entry : log)
    EXPECT_EQ(entry.exit_code, refused);
  EXPECT_EQ(service::find_status(sch_job_list[0], "s")->words[0], refused << 8);
}

TEST(Run, an_owner_whose_account_was_locked_runs_nothing_and_that_is_recorded) {
  World world({.change_user = true});
  const std::string shadow = world.directory.path() + "/shadow";
  std::ofstream(shadow) << "daemon:!$6$salt$hash-of-a-password:19000:0:99999:7:::\n";
  ASSERT_EQ(create_job(world, "job", "echo ran\n", daemon_user()), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"job"}, every(1, noon + 60), daemon_user()), 0u);
  host::use_shadow_file(shadow.c_str());
  due_now(world, noon + 60);
  host::use_shadow_file("/etc/shadow");
  EXPECT_THAT(log_of(world),
              ElementsAre(Logged{"job", "s", "daemon", "[user daemon is refused: its account is locked]\n",
                                 service::exit_code(service::Reason::user), noon + 60}));
}

}  // namespace
}  // namespace service_test
