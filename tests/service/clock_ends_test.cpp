// SPDX-License-Identifier: Apache-2.0
// Machines whose clock is wrong or far ahead: at the epoch, where signed seconds end, and near the end of the unsigned.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>

#include "service/run/history.h"
#include "service/state/tables.h"
#include "tests/service/operator_requests.h"

namespace service_test {
namespace {

using service::Reason;

constexpr time_t minute = 60, day = 86400;

struct Moment {
  const char *name;
  time_t now;
};

const Moment moments[] = {
    {"the epoch", 60},
    {"two days before signed seconds end", (time_t{1} << 31) - 2 * day},
    {"in the minute in which they end", (time_t{1} << 31) - 8},
    {"2105", 4276800000},
};

sch_tminfo daily_at(time_t moment) {
  struct tm fields = {};
  gmtime_r(&moment, &fields);
  return daily(fields.tm_hour, fields.tm_min);
}

TEST(ClockEnds, schedules_run_at_their_second_and_a_restart_finds_them_again) {
  for (const Moment &moment : moments) {
    SCOPED_TRACE(moment.name);
    const Directory directory;
    World world(directory.path(), moment.now);
    ASSERT_EQ(ask(world, control::Operation::enable_feature, {}).status, 0u);
    ASSERT_EQ(create_job(world, "job", "echo ran\n"), 0u);
    const time_t due = moment.now / minute * minute + 5 * minute;
    ASSERT_EQ(create_schedule(world, "daily", {"job"}, daily_at(due)), 0u);
    for (int i = 0; i < 3; i++) {
      const service::ScheduleState state = service::state_of(*service::find_schedule("daily")->rec);
      EXPECT_EQ(state.next_due, static_cast<uint32_t>(due + i * day));
      pass_to(world, due + i * day - 1);
      EXPECT_EQ(service::read_history(*service::find_schedule("daily")).size(), static_cast<size_t>(i));
      pass_to(world, due + i * day);
      const auto runs = service::read_history(*service::find_schedule("daily"));
      ASSERT_EQ(runs.size(), static_cast<size_t>(i) + 1);
      EXPECT_EQ(runs.front().outcomes.front().due, static_cast<uint32_t>(due + i * day));
      EXPECT_EQ(runs.front().outcomes.front().reason, Reason::ended);
      world.restart();
    }
  }
}

// A machine without a battery: it starts at the epoch, and its clock is set from the network.
TEST(ClockEnds, a_clock_that_is_set_from_the_epoch_to_today_misses_and_does_not_flood) {
  const Directory directory;
  World world(directory.path(), 60);
  ASSERT_EQ(ask(world, control::Operation::enable_feature, {}).status, 0u);
  ASSERT_EQ(create_job(world, "job", "echo ran\n"), 0u);
  ASSERT_EQ(create_schedule(world, "often", {"job"}, every(1, 120)), 0u);
  ASSERT_EQ(create_schedule(world, "daily", {"job"}, daily(12, 30)), 0u);
  pass_to(world, noon);
  for (const char *name : {"often", "daily"}) {
    const auto runs = service::read_history(*service::find_schedule(name));
    EXPECT_LE(runs.size(), 2u) << name;
    EXPECT_EQ(runs.back().outcomes.front().reason, Reason::missed) << name;
  }
  EXPECT_EQ(service::state_of(*service::find_schedule("daily")->rec).next_due,
            static_cast<uint32_t>(noon + 30 * minute));
  EXPECT_LE(service::state_of(*service::find_schedule("often")->rec).next_due, static_cast<uint32_t>(noon + minute));
}

}  // namespace
}  // namespace service_test
