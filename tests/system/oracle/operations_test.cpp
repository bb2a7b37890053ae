// SPDX-License-Identifier: Apache-2.0
// Whether the stories make every request that changes something: what no story makes is tried here, and must write
// nothing.
#include <gtest/gtest.h>

#include <algorithm>

#include "control/operations.h"
#include "host/status.h"
#include "tests/system/oracle/requests.h"
#include "tests/system/oracle/stories.h"

namespace oracle {
namespace {

using control::Operation;

constexpr uint32_t numbers = 256;  // of operations and opcodes that are tried

std::string payload_of(uint32_t service, uint32_t number) {
  if (service == SCH_SERVICE_SHOW) return number <= SCH_OP_SHOW_LOG ? bytes_of(sch_show_request{0, "", -1}) : "";
  switch (static_cast<Operation>(number)) {
    case Operation::security_read:
    case Operation::security_authenticate:
      return password("root", "no password");
    case Operation::show_history:
      return bytes_of(control::HistoryQuery{0, 0, 0});
    case Operation::show_upcoming:
      return bytes_of(control::UpcomingQuery{10});
    case Operation::find:
    case Operation::names:
      return bytes_of(control::ObjectKind::job) + "first";
    case Operation::explain_time:
      return "A";
    case Operation::show_log:
      return bytes_of(control::LogQuery{});
    case Operation::raw_output:
      return bytes_of(uint64_t{0});
    case Operation::configuration_entry:
      return bytes_of(uint32_t{1});
    case Operation::as_json:
      return bytes_of(Operation::status);
    case Operation::configuration_difference:
      return bytes_of(control::DifferenceQuery{});
    default:
      return "";
  }
}

std::set<OperationOfService> made_by_stories() {
  World world;
  world.follow_changes();
  for (const Story &story : stories()) {
    if (story.before != nullptr) story.before(world);
    story.happen(world);
    EXPECT_EQ(text_of(world.judge_anew()), "") << story.name;
    EXPECT_EQ(text_of(world.refused()), "") << story.name;
    world.forget_refused();
    world.restore();
  }
  return world.acknowledged();
}

TEST(Operations, each_that_is_in_no_story_writes_nothing) {
  const std::set<OperationOfService> in_stories = made_by_stories();
  World world;
  world.arm(Action::fail_io, 1'000'000);  // no step is the one that fails: they are counted
  size_t tried = 0;
  for (const uint32_t service : {SCH_SERVICE_CONFIG, SCH_SERVICE_SHOW, host::service_control})
    for (uint32_t number = 0; number < numbers; number++) {
      if (in_stories.contains({service, number})) continue;
      ASSERT_TRUE(world.client()->ask(service, number, payload_of(service, number)));
      const std::optional<Reply> reply = world.client()->receive();
      ASSERT_TRUE(reply);
      if (reply->status == host::err_unknown_opcode) continue;
      tried++;
      EXPECT_NE(reply->status, host::err_bad_request)
          << "tried with a payload that it refuses: " << service << " " << number;
      EXPECT_EQ(world.faults().steps, 0u) << "changes something, and is in no story: " << service << " " << number;
      world.arm(Action::fail_io, 1'000'000);
    }
  EXPECT_GT(tried, 20u);
}

}  // namespace
}  // namespace oracle
