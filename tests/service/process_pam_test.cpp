// SPDX-License-Identifier: Apache-2.0
// Account and session of a job's owner, by real PAM with a service file of the test's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include "host/files/paths.h"
#include "tests/service/process_fixture.h"

namespace service_test {
namespace {

using service::Reason;
using ::testing::HasSubstr;

class JobWithPam : public ::testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "needs root";
    host::use_paths(host::resolve_paths(directory.path().c_str()));
  }

  void services(const std::string &lines) { std::ofstream(directory.path() + "/schedcli") << lines; }

  std::string program(const std::string &text) {
    const std::string path = directory.path() + "/program";
    std::ofstream(path) << "#!/bin/sh\n" << text;
    chmod(path.c_str(), 0700);
    return path;
  }

  service::Processes::Options options() const {
    service::Processes::Options with_pam;
    with_pam.pam = true;
    with_pam.pam_directory = directory.path();
    with_pam.pam_deadline_ms = deadline_ms;
    return with_pam;
  }

  JobProcess::Result run(const std::string &text, bool leave_daemons = false) {
    service::Task job = task_of("nobody", text);
    job.leave_daemons = leave_daemons;
    return Starting(Kept::by_keeper, options()).run(job);
  }

  std::string noted() const {
    std::ifstream file(directory.path() + "/noted");
    return {std::istreambuf_iterator<char>(file), {}};
  }

  const Directory directory;
  unsigned deadline_ms = 60000;
};

TEST_F(JobWithPam, an_account_that_is_refused_runs_nothing_and_is_told) {
  services("account required pam_deny.so\nsession required pam_permit.so\n");
  const JobProcess::Result result = run("echo ran\n");
  EXPECT_EQ(result.reason, Reason::user);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.remark, HasSubstr("user nobody is refused: "));
}

TEST_F(JobWithPam, a_session_that_cannot_be_opened_runs_nothing) {
  services("account required pam_permit.so\nauth required pam_permit.so\nsession required pam_deny.so\n");
  const JobProcess::Result result = run("echo ran\n");
  EXPECT_EQ(result.reason, Reason::user);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.remark, HasSubstr("no session for user nobody: "));
}

TEST_F(JobWithPam, the_session_is_open_while_the_job_runs_and_closed_after_it) {
  const std::string note = program("echo $PAM_TYPE $PAM_USER >> " + directory.path() + "/noted\n");
  chmod(directory.path().c_str(), 0755);
  services("account required pam_permit.so\nauth required pam_permit.so\nsession required pam_exec.so " + note + "\n");
  const JobProcess::Result result = run("cat " + directory.path() + "/noted\nsleep 1000 &\nexit 3\n");
  EXPECT_EQ(result.output, "open_session nobody\n");
  EXPECT_EQ(result.wait_status, 3u << 8);
  EXPECT_EQ(noted(), "open_session nobody\nclose_session nobody\n");
}

TEST_F(JobWithPam, programs_that_the_session_leaves_are_ended_those_of_its_closing_too) {
  const std::string leaving =
      program("setsid sleep 1000 >/dev/null 2>&1 &\necho $! > " + directory.path() + "/$PAM_TYPE\n");
  services("account required pam_permit.so\nauth required pam_permit.so\nsession required pam_exec.so " + leaving +
           "\n");
  EXPECT_EQ(run("echo ran\n").output, "ran\n");
  for (const char *type : {"/open_session", "/close_session"}) {
    const pid_t left = read_number(directory.path() + type);
    ASSERT_GT(left, 0);
    EXPECT_TRUE(has_ended(left)) << type;
    kill(left, SIGKILL);
  }
}

TEST_F(JobWithPam, what_the_session_sets_reaches_the_job_beside_its_own) {
  std::ofstream(directory.path() + "/variables") << "FROM_PAM DEFAULT=yes\nHOME DEFAULT=/wrong\n";
  services(
      "account required pam_permit.so\nauth required pam_permit.so\nsession required pam_env.so readenv=0 conffile=" +
      directory.path() + "/variables\n");
  EXPECT_EQ(run("echo $FROM_PAM $HOME\n").output, "yes /nonexistent\n");
}

TEST_F(JobWithPam, modules_that_do_not_answer_are_given_up) {
  deadline_ms = 100;
  services("account required pam_exec.so " + program("sleep 1000\n") + "\n");
  const JobProcess::Result result = run("echo ran\n");
  EXPECT_EQ(result.reason, Reason::user);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.remark, HasSubstr("timed out"));
}

TEST_F(JobWithPam, a_job_may_take_longer_than_modules_may) {
  services("account required pam_permit.so\nauth required pam_permit.so\nsession required pam_permit.so\n");
  JobProcess::Result result;
  result.reason = Reason::user;
  // On a slow machine the modules themselves take longer than the first deadline.
  for (deadline_ms = 250; result.reason == Reason::user && deadline_ms < 20000; deadline_ms *= 2)
    result = run("sleep " + std::to_string(2e-3 * deadline_ms) + "; echo ran\n");
  EXPECT_EQ(result.reason, Reason::ended);
  EXPECT_EQ(result.output, "ran\n");
}

TEST_F(JobWithPam, programs_of_modules_that_do_not_answer_end_with_them) {
  const std::string begun = directory.path() + "/begun";
  services("account required pam_exec.so " + program("echo $$ > " + begun + "; sleep 1000\n") + "\n");
  pid_t slow = 0;
  // On a slow machine the program has not begun at the first deadline.
  for (deadline_ms = 500; slow == 0 && deadline_ms < 60000; deadline_ms *= 2) {
    EXPECT_EQ(run("echo ran\n").reason, Reason::user);
    std::ifstream(begun) >> slow;
  }
  ASSERT_GT(slow, 0);
  EXPECT_TRUE(comes_true([&] { return has_ended(slow); }));
  kill(slow, SIGKILL);
}

TEST_F(JobWithPam, modules_under_way_when_the_service_ends_are_given_up_at_once_with_their_programs) {
  const std::string begun = directory.path() + "/begun";
  services("account required pam_exec.so " + program("echo $$ > " + begun + "; sleep 1000\n") + "\n");
  Starting starting(Kept::by_keeper, options());
  const auto process = starting.start(task_of("nobody", "echo ran\n"));
  const pid_t slow = read_number(begun);
  ASSERT_GT(slow, 0);
  JobProcess::end_all({process.get()}, 60000);
  const JobProcess::Result result = process->end();
  EXPECT_EQ(result.reason, Reason::stopped);
  EXPECT_EQ(result.output, "");
  EXPECT_TRUE(has_ended(slow));
  kill(slow, SIGKILL);
}

TEST_F(JobWithPam, daemons_are_left_alone_where_they_are_allowed) {
  services("account required pam_permit.so\nauth required pam_permit.so\nsession required pam_permit.so\n");
  const JobProcess::Result result = run("setsid sleep 1000 >/dev/null 2>&1 & echo $!\n", true);
  const auto daemon = static_cast<pid_t>(std::stol(result.output));
  EXPECT_FALSE(has_ended(daemon));
  kill(daemon, SIGKILL);
}

TEST_F(JobWithPam, without_a_file_for_the_service_jobs_run_as_they_are) {
  EXPECT_EQ(run("echo ran\n").output, "ran\n");
}

}  // namespace
}  // namespace service_test
