// SPDX-License-Identifier: Apache-2.0
// The process that is kept ready for the next run.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <set>
#include <vector>

#include "tests/service/process_fixture.h"

namespace service_test {
namespace {

std::set<pid_t> children() {
  std::ifstream list("/proc/self/task/" + std::to_string(getpid()) + "/children");
  std::set<pid_t> found;
  for (pid_t child = 0; list >> child;)
    found.insert(child);
  return found;
}

class Spare : public ::testing::Test {
 protected:
  // The starter is there from the first run on, and its spare from the loop's next turn on.
  Spare() {
    EXPECT_EQ(starting_.run(task("true\n")).wait_status, 0);
    EXPECT_TRUE(comes_true([&] { return children().size() == 2; }, starting_.loop()));
    spare_ = *children().rbegin();
  }

  // The keeper of the run is the process that was launched for it.
  pid_t keeper_of_next_run() {
    return static_cast<pid_t>(std::atoi(starting_.run(task("echo $PPID\n")).output.c_str()));
  }

  Starting starting_;
  pid_t spare_ = 0;
};

TEST_F(Spare, becomes_the_next_run_and_another_one_is_made) {
  EXPECT_EQ(keeper_of_next_run(), spare_);
  EXPECT_TRUE(comes_true([&] { return children().size() == 2; }, starting_.loop()));
  EXPECT_FALSE(children().contains(spare_));
  const pid_t another = *children().rbegin();
  EXPECT_EQ(keeper_of_next_run(), another);
}

TEST_F(Spare, that_was_killed_keeps_no_run_from_beginning) {
  ASSERT_EQ(kill(spare_, SIGKILL), 0);
  ASSERT_TRUE(comes_true([&] { return has_ended(spare_); }));
  const pid_t keeper = keeper_of_next_run();
  EXPECT_GT(keeper, 0);
  EXPECT_NE(keeper, spare_);
}

TEST_F(Spare, serves_one_of_two_runs_that_begin_together) {
  std::set<pid_t> keepers;
  int ended = 0;
  const auto done = [&](const JobProcess::Result &result) {
    keepers.insert(static_cast<pid_t>(std::atoi(result.output.c_str())));
    ended++;
  };
  const auto first = starting_.start(task("echo $PPID\n"), done), second = starting_.start(task("echo $PPID\n"), done);
  ASSERT_TRUE(comes_true([&] { return ended == 2; }, starting_.loop()));
  EXPECT_EQ(keepers.size(), 2u);
  EXPECT_TRUE(keepers.contains(spare_));
}

TEST_F(Spare, ends_with_the_service) {
  starting_.begin_again();
  EXPECT_TRUE(has_ended(spare_));
}

// The first run takes the spare, the second a new process.
TEST_F(Spare, or_new_a_keeper_without_a_descriptor_left_begins_nothing_and_that_is_told) {
  for (const pid_t process : children()) {
    const rlimit few = {7, 7};  // what each has from the beginning, and what comes with a run
    ASSERT_EQ(prlimit(process, RLIMIT_NOFILE, &few, nullptr), 0);
  }
  std::vector<JobProcess::Result> results;
  const auto done = [&](JobProcess::Result result) { results.push_back(std::move(result)); };
  const auto first = starting_.start(task("echo ran\n"), done), second = starting_.start(task("echo ran\n"), done);
  ASSERT_TRUE(comes_true([&] { return results.size() == 2; }, starting_.loop()));
  for (const JobProcess::Result &result : results) {
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.reason, service::Reason::not_started);
    EXPECT_EQ(result.remark, "cannot start the job: its process: Too many open files");
  }
}

extern "C" void take_no_notice(int) {}

TEST_F(Spare, or_new_a_process_begins_also_where_signals_interrupt_the_service) {
  struct sigaction interrupting = {}, before = {};
  interrupting.sa_handler = take_no_notice;  // without SA_RESTART
  sigaction(SIGALRM, &interrupting, &before);
  const itimerval often = {{0, 200}, {0, 200}}, never = {};
  setitimer(ITIMER_REAL, &often, nullptr);
  int ended = 0;
  std::vector<std::unique_ptr<JobProcess>> processes;
  for (int i = 0; i < 20; i++)
    processes.push_back(starting_.start(task("true\n"), [&](const JobProcess::Result &result) {
      EXPECT_EQ(result.reason, service::Reason::ended);
      ended++;
    }));
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &before, nullptr);
  EXPECT_TRUE(comes_true([&] { return ended == 20; }, starting_.loop()));
}

}  // namespace
}  // namespace service_test
