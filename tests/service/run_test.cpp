// SPDX-License-Identifier: Apache-2.0
// Jobs as real processes.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "host/loop/loop.h"
#include "service/run/job_process.h"
#include "service/run/outcome.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using service::JobProcess;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

service::Task task(const std::string &text) {
  const std::optional<host::User> owner = host::user_by_uid(geteuid());
  return {"/bin/sh", "nightly", "check", text, *owner, false};
}

JobProcess::Result run(const service::Task &what, unsigned time_limit_s = 60) {
  std::optional<JobProcess::Result> result;
  std::string error;
  host::Loop loop;
  const auto process = JobProcess::start(
      what, [&](JobProcess::Result end) { result = std::move(end); }, &error, time_limit_s);
  EXPECT_TRUE(process) << error;
  while (process && !result)
    loop.turn();
  return result.value_or(JobProcess::Result{});
}

std::string output(const std::string &text) {
  return run(task(text)).output;
}

uint32_t exit_code(const std::string &text) {
  return run(task(text)).wait_status >> 8;
}

TEST(JobProcess, both_streams_are_captured_in_order_and_the_exit_code_is_kept) {
  const JobProcess::Result result = run(task("echo out; echo err >&2; echo out\nexit 3\n"));
  EXPECT_EQ(result.output, "out\nerr\nout\n");
  EXPECT_EQ(result.output_total, 12u);
  EXPECT_EQ(result.wait_status, 3u << 8);
}

TEST(JobProcess, the_environment_is_made_from_nothing) {
  setenv("SECRET_OF_THE_SERVICE", "x", 1);
  std::istringstream lines(output("env | sed 's/=.*//' | sort\n"));
  std::vector<std::string> names;
  for (std::string line; std::getline(lines, line);)
    if (line != "_" && line != "SHLVL" && line != "OLDPWD") names.push_back(line);
  EXPECT_THAT(names, ElementsAre("HOME", "JOB", "LANG", "LOGNAME", "PATH", "PWD", "SCHEDULE", "SHELL", "USER"));
  EXPECT_EQ(output("echo $SCHEDULE $JOB\n"), "nightly check\n");
}

TEST(JobProcess, the_services_raised_file_limit_is_not_inherited) {
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  if (before.rlim_max < 1328) GTEST_SKIP() << "the hard limit leaves nothing to raise";
  const rlimit raised = {1328, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &raised), 0);
  EXPECT_EQ(output("ulimit -n\n"), "1024\n");
  setrlimit(RLIMIT_NOFILE, &before);
}

TEST(JobProcess, nothing_of_the_services_is_open_and_standard_input_is_empty) {
  const int leaked = fcntl(STDOUT_FILENO, F_DUPFD, 50);  // without close-on-exec
  EXPECT_EQ(output("cat; for f in /proc/self/fd/*; do echo ${f##*/}; done | sort -n | head -n 4 | tr '\\n' ' '\n"),
            "0 1 2 3 ");
  EXPECT_EQ(output("ls /proc/$$/fd | grep -c '^" + std::to_string(leaked) + "$'\n"), "0\n");
  close(leaked);
}

TEST(JobProcess, the_job_leads_a_session_of_its_own_with_plain_signals_and_a_private_umask) {
  signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(output("test $(ps -o sid= -p $$) -eq $$ && echo own\n"), "own\n");
  EXPECT_EQ(output("grep SigIgn /proc/$$/status | cut -f 2; umask\n"), "0000000000000000\n0077\n");
}

TEST(JobProcess, the_text_cannot_be_changed_by_the_job) {
  EXPECT_NE(exit_code("echo 'exit 0' > /proc/self/fd/3\n"), 0u);
}

TEST(JobProcess, death_by_a_signal_is_no_success) {
  const JobProcess::Result result = run(task("kill -9 $$\n"));
  EXPECT_EQ(result.wait_status, (128u + 9) << 8);
  EXPECT_EQ(result.remark, "ended by signal 9, Killed");
}

TEST(JobProcess, an_interpreter_that_cannot_run_is_told) {
  service::Task wrong = task("echo\n");
  wrong.interpreter = "/no/such/interpreter";
  const JobProcess::Result result = run(wrong);
  EXPECT_EQ(result.wait_status, service::exit_status(service::Reason::not_started));
  EXPECT_EQ(result.output, "schedd: /no/such/interpreter: No such file or directory\n");
}

TEST(JobProcess, a_job_beyond_its_time_is_stopped_with_all_that_it_started) {
  const Directory directory;
  const std::string file = directory.path() + "/pid";
  const JobProcess::Result result = run(task("sleep 1000 & echo $! > " + file + "; echo started; wait\n"), 1);
  EXPECT_EQ(result.wait_status, service::exit_status(service::Reason::timed_out));
  EXPECT_EQ(result.remark, "stopped: it ran longer than 1 seconds");
  EXPECT_EQ(result.output, "started\n");
  pid_t child = 0;
  std::ifstream(file) >> child;
  ASSERT_GT(child, 0);
  // Absent, or not collected by its new parent yet; the kernel delivers the signal when it gets to it.
  const auto has_ended = [child] {
    std::ifstream status("/proc/" + std::to_string(child) + "/status");
    const std::string text{std::istreambuf_iterator<char>(status), {}};
    return text.empty() || text.find("State:\tZ") != std::string::npos;
  };
  for (int i = 0; i < 5000 && !has_ended(); i++)
    usleep(1000);
  EXPECT_TRUE(has_ended());
}

TEST(JobProcess, an_endless_output_is_bounded_and_counted) {
  const JobProcess::Result result = run(task("yes | head -c 1000000\n"));
  EXPECT_EQ(result.output.size(), service::capture_limit);
  EXPECT_EQ(result.output_total, 1000000u);
  EXPECT_EQ(result.wait_status, 0u);
}

TEST(JobProcess, a_process_that_keeps_the_output_open_does_not_keep_the_run) {
  const JobProcess::Result result = run(task("setsid sleep 3 & echo done\n"));
  EXPECT_EQ(result.output, "done\n");
}

TEST(JobProcess, one_that_is_destroyed_is_killed) {
  const host::Loop loop;
  std::string error;
  auto process = JobProcess::start(
      task("sleep 1000\n"), [](JobProcess::Result) {}, &error);
  ASSERT_TRUE(process);
  EXPECT_FALSE(process->wait_ms(0));
  process.reset();
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);  // no child is left
}

TEST(JobProcess, as_root_it_becomes_its_owner_with_no_way_back) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  service::Task other = task("id -u; id -g; id -G; grep -E '^(Uid|Gid|CapEff)' /proc/$$/status | tr '\\t' ' '; pwd\n");
  other.owner = *host::user_by_name("nobody");
  other.change_user = true;
  EXPECT_EQ(run(other).output,
            "65534\n65534\n65534\nUid: 65534 65534 65534 65534\nGid: 65534 65534 65534 65534\n"
            "CapEff: 0000000000000000\n/\n");
}

void due_now(World &world, time_t now) {
  set_clock(now);
  world.parts->scheduler.check();
  world.run_to_the_end();
}

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
  world.parts->runner.stop_all(world.parts->context);
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(1));
  EXPECT_EQ(log[0].exit_code, service::exit_code(service::Reason::stopped));
  EXPECT_EQ(log[0].output, "begun\n[stopped: the scheduler service ended]\n");
  world.restart();
  EXPECT_THAT(log_of(world), SizeIs(1));  // not interrupted: it was an orderly end
}

TEST(Run, more_due_schedules_than_run_at_once_wait_for_their_turn_and_are_told_when_the_service_ends) {
  World world;
  ASSERT_EQ(create_job(world, "slow", "sleep 0.3\n"), 0u);
  const size_t count = service::run_limit + 3;
  for (size_t i = 0; i < count; i++)
    ASSERT_EQ(create_schedule(world, "s" + std::to_string(i), {"slow"}, daily(12, 1)), 0u);
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_RESIZE_LOG, log_payload("", "", 1024 * 1024)).status, 0u);
  due_now(world, noon + 60);
  EXPECT_THAT(log_of(world), SizeIs(count));
  set_clock(noon + 60 + 86400);
  world.parts->scheduler.check();
  EXPECT_EQ(world.parts->runner.under_way(), count);
  world.parts->runner.stop_all(world.parts->context);
  EXPECT_EQ(world.parts->runner.under_way(), 0u);
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(2 * count));
  EXPECT_EQ(log.back().job, "-");
  EXPECT_EQ(log.back().exit_code, service::exit_code(service::Reason::stopped));
  EXPECT_EQ(service::state_of(*service::find_schedule(log.back().schedule)->rec).last_completion, noon + 60);
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
  World world({.interpreter = "/bin/sh", .change_user = true});
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

}  // namespace
}  // namespace service_test
