// SPDX-License-Identifier: Apache-2.0
// What the log shows of outcomes whose record another owner's noise has overwritten.
#include <gtest/gtest.h>

#include "service/run/history.h"
#include "service/state/tables.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

constexpr time_t day = 86400;
constexpr uint32_t smallest_log = 1024;

class GoneOutcomes : public testing::Test {
 protected:
  GoneOutcomes() {
    EXPECT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_RESIZE_LOG, log_payload("", "", smallest_log)).status, 0u);
    EXPECT_EQ(create_job(world, "quiet", "echo kept\n"), 0u);
    EXPECT_EQ(create_schedule(world, "once-a-day", {"quiet"}, daily(12, 30)), 0u);
    pass_to(world, noon + 1800);
  }

  // Records that fill the log, of somebody else.
  void make_noise() {
    for (int i = 0; i < 10; i++) {
      service::LogRecord record;
      record.job = record.schedule = record.user = "noise";
      record.owner_tag = 77;
      record.output = std::string(200, 'n');
      world.parts->log.append(record);
    }
  }

  std::vector<Logged> own() { return log_of(world, root(), "quiet"); }

  World world;
};

TEST_F(GoneOutcomes, record_that_was_overwritten_is_shown_without_its_output) {
  ASSERT_EQ(own().size(), 1u);
  EXPECT_EQ(own()[0].output, "kept\n");
  make_noise();
  ASSERT_EQ(own().size(), 1u);
  EXPECT_EQ(own()[0].output, "[its output has made room for newer records]\n");
  EXPECT_EQ(own()[0].exit_code, 0u);
}

TEST_F(GoneOutcomes, stand_before_newer_records_in_order) {
  make_noise();
  pass_to(world, noon + 1800 + day);
  const std::vector<Logged> log = own();
  ASSERT_EQ(log.size(), 2u);
  EXPECT_NE(log[0].output, "kept\n");
  EXPECT_EQ(log[1].output, "kept\n");
  EXPECT_LT(log[0].completion, log[1].completion);
}

TEST_F(GoneOutcomes, of_others_are_not_shown) {
  make_noise();
  EXPECT_TRUE(log_of(world, daemon_user(), "quiet").empty());
  EXPECT_TRUE(log_of(world, daemon_user()).empty());
}

TEST_F(GoneOutcomes, are_not_shown_once_the_log_was_cleared_and_stay_in_the_history) {
  make_noise();
  EXPECT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_CLEAR_LOG, log_payload("", "", 0)).status, 0u);
  EXPECT_TRUE(own().empty());
  EXPECT_EQ(service::read_history(*service::find_schedule("once-a-day")).size(), 1u);
  pass_to(world, noon + 1800 + day);
  make_noise();
  EXPECT_EQ(own().size(), 1u);
}

}  // namespace
}  // namespace service_test
