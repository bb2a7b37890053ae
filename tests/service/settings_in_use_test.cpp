// SPDX-License-Identifier: Apache-2.0
// What the settings say is what the service does, from the start and after a reload.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <chrono>
#include <filesystem>

#include "control/operations.h"
#include "control/statuses.h"
#include "host/status.h"
#include "service/request/control.h"
#include "service/run/outcome.h"
#include "tests/service/process_fixture.h"

namespace service_test {
namespace {

using service::ClassSettings;
using service::Settings;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

class SettingsInUse : public ::testing::Test {
 protected:
  void due(time_t now) {
    set_clock(now);
    world.parts->scheduler.check();
  }

  // A due time that is found so many seconds late runs; a second later it is missed.
  void expect_window_of(time_t seconds) {
    ASSERT_EQ(create_job(world, "job", "echo ran\n"), 0u);
    ASSERT_EQ(create_schedule(world, "s", {"job"}, daily(12, 1)), 0u);
    pass_to(world, noon + 60 + seconds);
    ASSERT_THAT(log_of(world), SizeIs(1));
    EXPECT_EQ(log_of(world)[0].output, "ran\n");
    pass_to(world, noon + 60 + 86400 + seconds + 1);
    ASSERT_THAT(log_of(world), SizeIs(2));
    EXPECT_THAT(log_of(world)[1].output, HasSubstr("missed: "));
  }

  // What a job with this text prints when it runs for this owner.
  std::string output_of(const std::string &text, const host::Caller &owner) {
    const std::string name = "s" + std::to_string(++schedules);
    EXPECT_EQ(create_job(world, name, text, owner), 0u);
    EXPECT_EQ(create_schedule(world, name, {name}, every(60, noon + 60), owner), 0u);
    due(noon + 60);
    world.settle();
    const std::vector<Logged> log = log_of(world, root(), name);
    return log.empty() ? "(nothing)" : log.back().output;
  }

  // Schedules that are due at once, each with the job.
  void create_schedules(const std::string &job, int count, const host::Caller &owner) {
    for (int i = 0; i < count; i++)
      ASSERT_EQ(create_schedule(world, owner.user_name + std::to_string(i), {job}, daily(12, 1), owner), 0u);
  }

  ClassSettings &add_class_of_root() {
    ClassSettings added;
    added.name = "operators";
    added.groups = {"no-such-group", "root"};
    settings.classes.push_back(added);
    return settings.classes.back();
  }

  std::string status_for(const host::Caller &caller) {
    const host::Answer answer = service::control({world.parts->context, caller}, control::Operation::status, {});
    return answer.reply ? std::string(reinterpret_cast<const char *>(answer.reply->data()), answer.reply->size()) : "";
  }

  // Runs of root, each of a job that has said by a file that it is ready: what it has trapped is known by then.
  void run(const std::string &text, int count) {
    for (int i = 0; i < count; i++) {
      const std::string name = "job" + std::to_string(i), ready = file("ready" + std::to_string(i));
      const std::string all = text + "touch " + ready + "; while :; do sleep 0.01; done\n";
      ASSERT_EQ(create_job(world, name, all), 0u);
      ASSERT_EQ(create_schedule(world, name, {name}, daily(12, 1)), 0u);
    }
    due(noon + 60);
    for (int i = 0; i < count; i++)
      ASSERT_TRUE(comes_true([&] { return std::filesystem::exists(file("ready" + std::to_string(i))); }, &world.loop));
  }

  std::string file(const std::string &name) const { return world.directory.path() + "/" + name; }

  World world{{.processes = {.groups = false}}};
  Settings settings;
  int schedules = 0;
};

TEST_F(SettingsInUse, the_class_of_the_owners_group_says_what_a_run_may_use) {
  ClassSettings &operators = add_class_of_root();
  operators.memory_mib = 777;
  operators.tasks = 4242;
  operators.nice = 7;
  world.use(settings);
  const std::string text = "nice; grep -E 'data size|processes' /proc/self/limits\n";
  EXPECT_THAT(output_of(text, root()), AllOf(StartsWith("7\n"), HasSubstr("814743552"), HasSubstr("4242")));
  const std::string nice_of_the_test = std::to_string(getpriority(PRIO_PROCESS, 0)) + "\n";
  EXPECT_THAT(output_of(text, daemon_user()),
              AllOf(StartsWith(nice_of_the_test), Not(HasSubstr("814743552")), Not(HasSubstr("4242"))));
}

TEST_F(SettingsInUse, the_class_of_the_owners_group_says_how_much_output_is_kept) {
  add_class_of_root().output_kib = 1;
  world.use(settings);
  const std::string text = "printf '%05000d' 0\n";
  EXPECT_EQ(output_of(text, root()).find_first_not_of('0'), 1024u);
  EXPECT_EQ(output_of(text, daemon_user()), std::string(5000, '0'));
}

TEST_F(SettingsInUse, the_class_of_the_owners_group_says_how_long_a_job_may_take_and_then_has_to_end_in) {
  ClassSettings &operators = add_class_of_root();
  operators.time_limit_s = 1;
  operators.grace_s = 0;
  world.use(settings);
  EXPECT_THAT(output_of("trap '' TERM; sleep 1000\n", root()), HasSubstr("it ran longer than 1 seconds"));
}

TEST_F(SettingsInUse, the_class_of_the_owners_group_says_whether_daemons_are_left_alone) {
  add_class_of_root().leave_daemons = true;
  world.use(settings);
  const std::string text = "setsid sleep 2 </dev/null >/dev/null 2>&1 &\n";
  EXPECT_EQ(output_of(text, root()), "");
  EXPECT_THAT(output_of(text, daemon_user()), HasSubstr("a process that it had left running was ended"));
}

TEST_F(SettingsInUse, a_kill_that_was_asked_for_gives_the_grace_of_the_class) {
  add_class_of_root().grace_s = 0;
  world.use(settings);
  run("trap '' TERM; ", 1);
  const auto begun = std::chrono::steady_clock::now();
  ASSERT_TRUE(world.parts->runner.kill(world.parts->runner.list().front().ticket.number, "root"));
  world.settle();
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(service::job_grace_ms));
}

TEST_F(SettingsInUse, jobs_that_start_after_a_reload_get_its_interpreter) {
  EXPECT_EQ(output_of("echo usual\n", root()), "usual\n");
  settings.interpreter = "/bin/cat";
  world.use(settings);
  EXPECT_EQ(output_of("echo other\n", root()), "echo other\n");
}

TEST_F(SettingsInUse, who_is_in_none_of_the_groups_that_are_allowed_configures_nothing) {
  settings.allow_groups = {"no-such-group", "daemon"};
  world.use(settings);
  EXPECT_EQ(create_job(world, "a", "x\n", daemon_user()), 0u);
  EXPECT_EQ(create_job(world, "b", "x\n", nobody()), control::err_not_allowed);
  EXPECT_EQ(create_job(world, "c", "x\n", root()), 0u);
  EXPECT_EQ(create_job(world, "d", "x\n", remote_user()), control::err_not_allowed);
  EXPECT_EQ(world.send(nobody(), SCH_SERVICE_SHOW, SCH_OP_SHOW_JOB, show_payload()).status, 0u);
  world.use(Settings());
  EXPECT_EQ(create_job(world, "b", "x\n", nobody()), 0u);
}

TEST_F(SettingsInUse, who_may_not_configure_stores_no_password_for_it) {
  settings.allow_groups = {"daemon"};
  world.use(settings);
  sch_security_user_rec record = {};
  const auto *start = reinterpret_cast<const std::byte *>(&record);
  const service::Call call = {world.parts->context, remote_user()};
  EXPECT_EQ(service::control(call, control::Operation::security_store, {start, sizeof record}).status,
            control::err_not_allowed);
}

TEST_F(SettingsInUse, a_stored_password_is_its_users_and_roots_alone) {
  sch_security_user_rec record = {};
  std::strcpy(record.user_name, "nobody");
  record.kind = 2;
  const auto read = [&](const host::Caller &caller) {
    const service::Call call = {world.parts->context, caller};
    return service::control(call, control::Operation::security_read, std::as_bytes(std::span(&record, 1))).status;
  };
  EXPECT_EQ(read(nobody()), uint32_t{SCH_STATUS_NO_PASSWORD});
  EXPECT_EQ(read(root()), uint32_t{SCH_STATUS_NO_PASSWORD});
  EXPECT_EQ(read(daemon_user()), host::err_not_permitted);
  host::Caller spoken_for_by_root = daemon_user();
  spoken_for_by_root.peer_uid = 0;
  EXPECT_EQ(read(spoken_for_by_root), uint32_t{SCH_STATUS_NO_PASSWORD});
}

TEST_F(SettingsInUse, the_limits_of_parallel_runs_hold_from_the_start_and_after_a_reload) {
  world.settings.max_parallel_per_user = 2;
  world.restart();
  ASSERT_EQ(create_job(world, "slow", "sleep 1000\n", nobody()), 0u);
  create_schedules("slow", 5, nobody());
  due(noon + 60);
  EXPECT_EQ(world.parts->runner.begun(), 2u);
  settings.max_parallel_per_user = 4;
  world.use(settings);
  EXPECT_TRUE(comes_true([&] { return world.parts->runner.begun() == 4; }, &world.loop));
  EXPECT_EQ(world.parts->runner.waiting(), 1u);
}

TEST_F(SettingsInUse, the_status_tells_runs_under_way_from_those_that_wait_and_whose_they_are) {
  settings.max_parallel_per_user = 2;
  world.use(settings);
  ASSERT_EQ(create_job(world, "slow", "sleep 1000\n", nobody()), 0u);
  create_schedules("slow", 5, nobody());
  ASSERT_EQ(create_job(world, "roots", "sleep 1000\n"), 0u);
  create_schedules("roots", 1, root());
  due(noon + 60);
  const std::string all = status_for(root());
  EXPECT_THAT(all, HasSubstr("\nruns under way: 3\nruns waiting: 3\n"));
  EXPECT_THAT(all, HasSubstr("\nshare of root: schedules 1, jobs 1, runs 1, waiting 0\n"));
  EXPECT_THAT(all, EndsWith("\nshare of nobody: schedules 5, jobs 1, runs 2, waiting 3\n"));
  EXPECT_THAT(status_for(nobody()), EndsWith("\nshare of nobody: schedules 5, jobs 1, runs 2, waiting 3\n"));
  EXPECT_THAT(status_for(daemon_user()), EndsWith("\nshare of daemon: schedules 0, jobs 0, runs 0, waiting 0\n"));
}

TEST_F(SettingsInUse, a_due_time_found_within_the_grace_that_is_set_is_not_missed) {
  settings.late_grace_s = 600;
  world.use(settings);
  expect_window_of(600);
}

TEST_F(SettingsInUse, a_missed_due_time_runs_once_within_the_window_that_is_set) {
  world.settings.missed = service::MissedPolicy::run_once;
  world.settings.missed_window_s = 3600;
  world.restart();
  expect_window_of(3600);
}

class TheEnd : public SettingsInUse {};  // of the service

TEST_F(TheEnd, of_many_runs_that_do_not_listen_takes_one_grace_and_records_each) {
  constexpr int count = 8;
  settings.stop_grace_s = 1;
  world.use(settings);
  run("trap '' TERM; ", count);
  const auto begun = std::chrono::steady_clock::now();
  world.parts->runner.stop_all();
  EXPECT_LT(std::chrono::steady_clock::now() - begun, count * std::chrono::seconds(settings.stop_grace_s));
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(count));
  for (const Logged &entry : log)
    EXPECT_EQ(entry.exit_code, service::exit_code(service::Reason::stopped));
}

TEST_F(TheEnd, leaves_a_job_the_grace_to_end_in_and_reads_what_it_prints_meanwhile) {
  settings.stop_grace_s = 60;
  world.use(settings);
  run("trap 'head -c 1000000 /dev/zero; touch " + file("over") + "; exit' TERM; ", 1);
  world.parts->runner.stop_all();
  EXPECT_TRUE(std::filesystem::exists(file("over")));
}

}  // namespace
}  // namespace service_test
