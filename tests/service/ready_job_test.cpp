// SPDX-License-Identifier: Apache-2.0
// The process that is made for a job a moment before it is due.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <set>

#include "tests/service/process_fixture.h"

namespace service_test {
namespace {

std::set<pid_t> children_of(pid_t parent) {
  const std::string number = std::to_string(parent);
  std::ifstream list("/proc/" + number + "/task/" + number + "/children");
  std::set<pid_t> found;
  for (pid_t child = 0; list >> child;)
    found.insert(child);
  return found;
}

class Ready : public ::testing::TestWithParam<Kept> {
 protected:
  Ready() {
    std::string why;
    if (GetParam() == Kept::in_group && usable_group(&why).empty()) why_not_ = why;
  }
  void SetUp() override {
    if (!why_not_.empty()) GTEST_SKIP() << why_not_;
    starting_.emplace(GetParam());
    EXPECT_EQ(starting_->run(task("true\n")).wait_status, 0u);
    starter_ = *children_of(getpid()).begin();
  }

  // The children that this process has when the task is prepared, among them the new one: the job or its keeper.
  std::set<pid_t> prepare(const service::Task &wanted) {
    starting_->processes().prepare(wanted);
    return children_of(getpid());
  }
  // Starts the task, which is marking(); whether its process is one of those.
  bool begins_in(const std::set<pid_t> &processes, const service::Task &wanted) {
    starting_->run(wanted);
    std::ifstream written(mark());
    pid_t parent = 0, own = 0;
    EXPECT_TRUE(written >> parent >> own);
    return processes.contains(parent) || processes.contains(own);
  }
  std::string mark() const { return starting_->path() + "/mark"; }
  std::string marking() const { return "echo $PPID $$ >> " + mark() + "\n"; }
  bool marked() const { return std::filesystem::exists(mark()); }

  std::string why_not_;
  std::optional<Starting> starting_;
  pid_t starter_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Kept, Ready, ::testing::Values(Kept::by_keeper, Kept::in_group),
                         [](const auto &kept) { return kept.param == Kept::by_keeper ? "by_keeper" : "in_group"; });

TEST_P(Ready, begins_when_its_task_is_started_and_not_before) {
  const service::Task wanted = task(marking());
  const std::set<pid_t> made = prepare(wanted);
  for (int i = 0; i < 20; i++) {
    starting_->loop()->turn_without_waiting();
    usleep(1000);
  }
  EXPECT_FALSE(marked());
  EXPECT_TRUE(begins_in(made, wanted));
}

TEST_P(Ready, for_another_text_never_begins) {
  prepare(task(marking()));
  EXPECT_EQ(starting_->run(task("echo changed meanwhile\n")).output, "changed meanwhile\n");
  starting_->begin_again();
  EXPECT_FALSE(marked());
}

TEST_P(Ready, under_other_limits_never_begins) {
  service::Task wanted = task(marking());
  const std::set<pid_t> made = prepare(wanted);
  wanted.limits.grace_ms++;
  EXPECT_FALSE(begins_in(made, wanted));
}

TEST_P(Ready, that_is_not_needed_ends_with_the_service_and_leaves_nothing) {
  const std::set<pid_t> made = prepare(task(marking()));
  ASSERT_FALSE(made.empty());
  starting_->begin_again();
  for (const pid_t process : made)
    EXPECT_TRUE(has_ended(process));
  EXPECT_FALSE(marked());
  EXPECT_TRUE(std::filesystem::is_empty(starting_->path() + "/jobs"));
}

// Nobody would end it with the service.
TEST_P(Ready, that_has_lost_its_keeper_never_begins) {
  if (GetParam() == Kept::in_group) GTEST_SKIP() << "there is none";
  const service::Task wanted = task(marking());
  std::set<pid_t> made = prepare(wanted);
  made.erase(starter_);
  ASSERT_EQ(made.size(), 1u);
  const pid_t keeper = *made.begin();
  ASSERT_TRUE(comes_true([&] { return !children_of(keeper).empty(); }));
  const pid_t job = *children_of(keeper).begin();
  kill(keeper, SIGKILL);
  ASSERT_TRUE(comes_true([&] { return has_ended(keeper); }));
  const auto process = starting_->start(wanted);
  EXPECT_TRUE(comes_true([&] { return has_ended(job); }));
  EXPECT_FALSE(marked());
}

TEST_P(Ready, that_was_killed_keeps_no_run_from_beginning) {
  const service::Task wanted = task(marking());
  std::set<pid_t> made = prepare(wanted);
  std::erase_if(made, [this](pid_t process) { return process == starter_; });
  for (const pid_t process : std::set(made))
    made.merge(children_of(process));
  for (const pid_t process : made)
    kill(process, SIGKILL);
  for (const pid_t process : made)
    ASSERT_TRUE(comes_true([&] { return has_ended(process); }));
  EXPECT_FALSE(begins_in(made, wanted));
}

}  // namespace
}  // namespace service_test
