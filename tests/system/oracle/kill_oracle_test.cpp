// SPDX-License-Identifier: Apache-2.0
// kill -9 at each step of what a service does: afterwards each due time and each run that was promised has exactly one
// outcome for each job, in history, log and statuses alike, and no job ran twice.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/conditions.h"
#include "tests/system/oracle/stories.h"

namespace oracle {
namespace {

class KillOracle : public testing::TestWithParam<std::tuple<Story, Action>> {};

TEST_P(KillOracle, every_step_leaves_one_outcome_for_each_job_of_each_due_time) {
  const auto &[story, action] = GetParam();
  World world;
  world.follow_changes();
  bool struck = true;
  uint64_t step = 0;
  while (struck) {
    step += conditions::is_long() ? 1 : 1 + step / 2;  // of the first ones most, as that is where most happens
    world.restore();
    if (story.before != nullptr) story.before(world);
    world.arm(action, step);
    story.happen(world);
    struck = world.struck();
    const Complaints complaints = world.judge_anew();
    ASSERT_TRUE(complaints.empty()) << "at step " << step << ":\n" << text_of(complaints);
  }
  EXPECT_GT(step, 3u);
  RecordProperty("steps", static_cast<int>(step));
}

INSTANTIATE_TEST_SUITE_P(, KillOracle,
                         testing::Combine(testing::ValuesIn(stories()),
                                          testing::Values(Action::die, Action::die_half_written)),
                         [](const auto &each) {
                           const bool before = std::get<1>(each.param) == Action::die;
                           return std::string(std::get<0>(each.param).name) +
                                  (before ? "_killed" : "_killed_in_a_write");
                         });

}  // namespace
}  // namespace oracle
