// SPDX-License-Identifier: Apache-2.0
// Each step at which a service writes, syncs or makes a file fails: once, or from then on until the disk is well again.
// In the long test also each at which it receives, sends, waits, reads or makes a descriptor: interrupted, not ready,
// none left, a short count. Each due time has exactly one outcome then, with the service that met the fault and with
// the next one, which finds the configuration on the disk as it was in memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "tests/conditions.h"
#include "tests/system/oracle/stories.h"

namespace oracle {
namespace {

struct Fault {
  const char *name;
  Action action;
  uint64_t count;
  uint64_t fewest_steps = 3;
};
constexpr uint64_t until_mended = 1'000'000;

std::string configuration(World &world) {
  const std::optional<Reply> reply = world.client()->control(control::Operation::running_text, "");
  return reply && reply->status == 0 ? reply->text() : "the service does not show its configuration";
}

class FaultOracle : public testing::TestWithParam<std::tuple<Story, Fault>> {};

TEST_P(FaultOracle, every_step_that_fails_leaves_one_outcome_for_each_job_of_each_due_time) {
  const auto &[story, fault] = GetParam();
  World world;
  world.follow_changes();
  bool struck = true;
  uint64_t step = 0;
  while (struck) {
    step += conditions::is_long() ? 1 : std::max<uint64_t>(step, 1);  // of the first ones most, as there most happens
    world.restore();
    world.have_patience(fault.count == 1);
    world.arm(fault.action, step, fault.count);
    story.happen(world);
    struck = world.struck();
    world.disarm();
    world.have_patience(true);
    Complaints complaints = world.judge();
    ASSERT_TRUE(complaints.empty()) << "with step " << step << " failed:\n" << text_of(complaints);
    const bool is_complete = !world.awaits_start();
    const std::string before = configuration(world);
    complaints = world.judge_anew();
    ASSERT_TRUE(complaints.empty()) << "after step " << step << " failed and a restart:\n" << text_of(complaints);
    if (is_complete) {
      ASSERT_EQ(configuration(world), before) << "after step " << step << " failed and a restart";
    }
  }
  EXPECT_GT(step, fault.fewest_steps);
  RecordProperty("steps", static_cast<int>(step));
}

std::vector<Story> stories_of_a_living_service() {
  std::vector<Story> found;
  for (const Story &story : stories())
    if (is_of_living_service(story)) found.push_back(story);
  return found;
}

// What the system refuses elsewhere than at the disk is tried in the long test alone.
std::vector<Fault> faults() {
  std::vector<Fault> tried = {{"broken_disk", Action::fail_io, 1},
                              {"cut_write", Action::fail_cut, 1},
                              {"full_disk", Action::fail_full, until_mended}};
  if (conditions::is_long())
    tried.insert(tried.end(), {{"interrupted", Action::fail_interrupted, 1},
                               {"again", Action::fail_again, 1},
                               {"no_descriptor", Action::fail_descriptors, 1, 2},
                               {"cut_read", Action::cut_read, 1, 0}});
  return tried;
}

INSTANTIATE_TEST_SUITE_P(
    , FaultOracle, testing::Combine(testing::ValuesIn(stories_of_a_living_service()), testing::ValuesIn(faults())),
    [](const auto &each) { return std::string(std::get<0>(each.param).name) + "_" + std::get<1>(each.param).name; });

}  // namespace
}  // namespace oracle
