// SPDX-License-Identifier: Apache-2.0
// What a job finds when it begins, and what of it is kept.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <sstream>

#include "tests/service/process_fixture.h"

namespace service_test {
namespace {

using service::Reason;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

JobProcess::Result run(const service::Task &what) {
  return Starting().run(what);
}

std::string output(const std::string &text) {
  return run(task(text)).output;
}

TEST(JobProcess, both_streams_are_captured_in_order_and_the_exit_code_is_kept) {
  const JobProcess::Result result = run(task("echo out; echo err >&2; echo out\nexit 3\n"));
  EXPECT_EQ(result.output, "out\nerr\nout\n");
  EXPECT_EQ(result.output_total, 12u);
  EXPECT_EQ(result.wait_status, 3u << 8);
  EXPECT_EQ(result.reason, Reason::ended);
  EXPECT_EQ(result.remark, "");
  EXPECT_EQ(result.killed, 0u);
}

TEST(JobProcess, an_exit_code_that_the_service_uses_itself_is_the_jobs_own) {
  const JobProcess::Result result = run(task("exit 112\n"));
  EXPECT_EQ(result.reason, Reason::ended);
  EXPECT_EQ(result.wait_status, 112u << 8);
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

TEST(JobProcess, it_lives_in_the_zone_that_it_was_given) {
  service::Task elsewhere = task("date -d @1795262400 +%H:%M\n");
  elsewhere.time_zone = "UTC-5:30";
  EXPECT_EQ(run(elsewhere).output, "17:30\n");
}

TEST(JobProcess, a_home_that_is_not_there_becomes_the_root_directory) {
  service::Task homeless = task("pwd; echo $PWD\n");
  homeless.owner.home = "/no/such/home";
  EXPECT_EQ(run(homeless).output, "/\n/\n");
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

TEST(JobProcess, nothing_but_the_three_streams_is_open_in_what_the_job_starts) {
  const int leaked = fcntl(STDOUT_FILENO, F_DUPFD, 50);  // without close-on-exec
  for (const bool daemons : {false, true}) {             // with a keeper between, and without
    service::Task job = task("/bin/ls /proc/self/fd | tr '\\n' ' '\n");
    job.leave_daemons = daemons;
    EXPECT_EQ(run(job).output, "0 1 2 3 ");  // 3 is what ls reads
  }
  close(leaked);
}

TEST(JobProcess, standard_input_is_empty) {
  EXPECT_EQ(output("cat; readlink /proc/self/fd/0\n"), "/dev/null\n");
}

TEST(JobProcess, the_job_leads_a_session_of_its_own) {
  EXPECT_EQ(output("test $(ps -o sid= -p $$) -eq $$ && echo own\n"), "own\n");
}

TEST(JobProcess, no_signal_is_ignored_or_blocked_and_files_are_private) {
  sigset_t some, before;
  sigemptyset(&some);
  for (const int number : {SIGTERM, SIGCHLD, SIGUSR1})
    sigaddset(&some, number);
  sigprocmask(SIG_BLOCK, &some, &before);
  for (const int number : {SIGPIPE, SIGHUP, SIGXFSZ})
    signal(number, SIG_IGN);
  const mode_t mask = umask(0);
  for (const bool daemons : {false, true}) {
    service::Task job = task("grep -E '^Sig(Ign|Blk)' /proc/self/status | cut -f 2; umask\n");
    job.leave_daemons = daemons;
    EXPECT_EQ(run(job).output, "0000000000000000\n0000000000000000\n0077\n");
  }
  umask(mask);
  for (const int number : {SIGPIPE, SIGHUP, SIGXFSZ})
    signal(number, SIG_DFL);
  sigprocmask(SIG_SETMASK, &before, nullptr);
}

TEST(JobProcess, its_text_is_a_file_that_nobody_else_can_read_and_that_goes_with_it) {
  Starting starting;
  const JobProcess::Result result = starting.run(task("stat -c '%a %U' $0; cat $0\n"));
  EXPECT_EQ(result.output, "400 " + task("").owner.name + "\nstat -c '%a %U' $0; cat $0\n");
  EXPECT_TRUE(std::filesystem::is_empty(starting.path() + "/jobs"));
}

TEST(JobProcess, a_job_can_start_itself_again) {
  EXPECT_EQ(output("test -n \"$SECOND\" && echo second && exit; export SECOND=1; exec /bin/sh $0\n"), "second\n");
}

TEST(JobProcess, no_other_user_sees_its_text_in_the_list_of_processes) {
  EXPECT_EQ(output("tr '\\0' ' ' < /proc/$$/cmdline | grep -c cmdline\n"), "0\n");
}

TEST(JobProcess, files_that_a_killed_service_left_go_before_anything_runs) {
  Starting starting;
  ASSERT_TRUE(starting.processes().end_left_overs());
  const std::string left = starting.path() + "/jobs/1-1";
  close(open(left.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0400));
  starting.begin_again();
  EXPECT_TRUE(starting.processes().end_left_overs());
  EXPECT_FALSE(std::filesystem::exists(left));
}

TEST(JobProcess, death_by_a_signal_is_no_success) {
  for (const bool daemons : {false, true}) {
    service::Task job = task("kill -9 $$\n");
    job.leave_daemons = daemons;
    const JobProcess::Result result = run(job);
    EXPECT_EQ(result.wait_status, (128u + 9) << 8);
    EXPECT_EQ(result.remark, "ended by signal 9, Killed");
  }
}

TEST(JobProcess, an_interpreter_that_cannot_run_is_told_by_the_service_and_not_in_the_output) {
  for (const bool daemons : {false, true}) {
    service::Task wrong = task("echo\n");
    wrong.interpreter = "/no/such/interpreter";
    wrong.leave_daemons = daemons;
    const JobProcess::Result result = run(wrong);
    EXPECT_EQ(result.reason, Reason::not_started);
    EXPECT_EQ(result.wait_status, service::exit_status(Reason::not_started));
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.remark, "cannot start the job: /no/such/interpreter: No such file or directory");
  }
}

TEST(JobProcess, a_starter_that_is_not_installed_is_told_at_once) {
  const host::Loop loop;
  const Directory directory;
  service::Processes processes({.starter = "/no/such/starter", .directory = directory.path(), .groups = false});
  const auto process = JobProcess::start(processes, task("echo\n"), [](JobProcess::Result) {});
  ASSERT_FALSE(process);
  EXPECT_THAT(process.error().text, HasSubstr("/no/such/starter: No such file"));
  EXPECT_TRUE(std::filesystem::is_empty(directory.path() + "/jobs"));
}

TEST(JobProcess, a_starter_that_was_killed_is_started_anew) {
  Starting starting;
  EXPECT_EQ(starting.run(task("echo one\n")).output, "one\n");
  const std::string self = std::to_string(getpid());
  const pid_t starter = read_number("/proc/self/task/" + self + "/children");  // no other child is left
  ASSERT_GT(starter, 0);
  kill(starter, SIGKILL);
  ASSERT_TRUE(comes_true([&] { return has_ended(starter); }));
  EXPECT_EQ(starting.run(task("echo two\n")).output, "two\n");
}

// A supervisor sends them to every process of the service.
TEST(JobProcess, a_starter_leaves_the_signals_of_a_supervisor_to_the_service) {
  Starting starting;
  EXPECT_EQ(starting.run(task("echo one\n")).output, "one\n");
  const pid_t starter = read_number("/proc/self/task/" + std::to_string(getpid()) + "/children");
  ASSERT_GT(starter, 0);
  for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGALRM})
    ASSERT_EQ(kill(starter, number), 0);
  EXPECT_EQ(starting.run(task("echo two\n")).output, "two\n");
  EXPECT_FALSE(has_ended(starter));
}

TEST(JobProcess, an_endless_output_is_bounded_and_counted) {
  service::Task job = task("yes | head -c 1000000\n");
  const JobProcess::Result result = run(job);
  EXPECT_EQ(result.output.size(), service::capture_limit);
  EXPECT_EQ(result.output_total, 1000000u);
  EXPECT_EQ(result.wait_status, 0u);
  job.limits.output_bytes = 10;
  EXPECT_EQ(run(job).output, "y\ny\ny\ny\ny\n");
}

// A program may make its pipe larger than it is usually; what it printed last is there when it has ended.
TEST(JobProcess, output_in_a_pipe_that_the_job_made_larger_is_counted_to_its_end) {
  Starting starting;
  std::optional<JobProcess::Result> result;
  const auto process = starting.start(
      task("exec python3 -c 'import fcntl, os; fcntl.fcntl(1, 1031, 1 << 20); os.write(1, b\"x\" * 1000000)'\n"),
      [&](JobProcess::Result end) { result = std::move(end); });
  ASSERT_TRUE(process->wait_ms(60000));  // nobody has read anything yet
  ASSERT_TRUE(comes_true([&] { return result.has_value(); }, starting.loop()));
  EXPECT_EQ(result->output_total, 1000000u);
  EXPECT_EQ(result->wait_status, 0u);
}

TEST(JobProcess, a_job_that_prints_without_end_leaves_others_their_turn) {
  Starting starting;
  const auto noisy = starting.start(task("yes\n"));
  for (int i = 0; i < 3; i++)
    EXPECT_EQ(starting.run(task("echo quiet\n")).output, "quiet\n");
}

TEST(JobProcess, output_that_was_closed_ends_no_job) {
  const JobProcess::Result result = run(task("exec >&- 2>&-; exit 4\n"));
  EXPECT_EQ(result.wait_status, 4u << 8);
}

TEST(JobProcess, one_that_is_destroyed_is_killed) {
  Starting starting;
  const std::string file = starting.path() + "/pid";
  auto process = starting.start(task("echo $$ > " + file + "; sleep 1000\n"));
  const pid_t pid = read_number(file);
  ASSERT_GT(pid, 0);
  EXPECT_FALSE(process->wait_ms(0));
  process.reset();
  EXPECT_TRUE(has_ended(pid));
}

TEST(JobProcess, no_descriptor_stays_behind) {
  Starting starting;
  const auto open_files = [] {
    const auto files = std::filesystem::directory_iterator("/proc/self/fd");
    return std::distance(begin(files), end(files));
  };
  starting.run(task("true\n"));
  const auto before = open_files();
  for (int i = 0; i < 3; i++)
    starting.run(task("true\n"));
  EXPECT_EQ(open_files(), before);
}

}  // namespace
}  // namespace service_test
