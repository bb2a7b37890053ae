// SPDX-License-Identifier: Apache-2.0
// The process that is kept ready for the next run.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <set>

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

}  // namespace
}  // namespace service_test
