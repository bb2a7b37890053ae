// SPDX-License-Identifier: Apache-2.0
// How many runs there are at once, and how many whose end could not be stored.
#include "service/run/runner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/limits.h"
#include "service/run/history.h"
#include "service/state/tables.h"
#include "tests/service/store_faults.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

struct RunnerTest : ::testing::Test {
  World world;

  service::Runner &runner() { return world.parts->runner; }

  void configure(const std::string &text, size_t schedules, int at_once) {
    world.settings.max_parallel = at_once;
    world.use(world.settings);
    ASSERT_EQ(create_job(world, "job", text), 0u);
    for (size_t i = 0; i < schedules; i++)
      ASSERT_EQ(create_schedule(world, "s" + std::to_string(i), {"job"}, daily(12, 1)), 0u);
  }
  void begin() {
    set_clock(noon + 60);
    world.parts->scheduler.check();
  }
};

TEST_F(RunnerTest, of_few_places_a_quarter_is_for_other_owners) {
  configure("exec sleep 1000\n", 9, 8);
  begin();
  EXPECT_EQ(runner().begun(), 6u);
  EXPECT_EQ(runner().waiting(), 3u);
  world.settings.max_parallel = 12;
  world.use(world.settings);
  runner().start_waiting();
  EXPECT_EQ(runner().begun(), 9u);
  runner().stop_all();
}

TEST_F(RunnerTest, of_many_places_sixteen_are_for_other_owners) {
  configure("exec sleep 1000\n", 58, 72);
  begin();
  EXPECT_EQ(runner().begun(), 56u);
  EXPECT_EQ(runner().waiting(), 2u);
  runner().stop_all();
}

// The disk takes nothing any more: what has ended waits in memory, and that has a bound.
TEST_F(RunnerTest, while_the_ends_of_sixty_four_runs_cannot_be_stored_no_further_run_begins) {
  constexpr size_t schedules = 66;
  configure("true\n", schedules, 1);
  begin();
  const auto refuse_for = [&](unsigned milliseconds, size_t until_begun) {
    bool over = false;
    const host::Watch patience = host::Watch::after_ms(milliseconds, [&] { over = true; });
    while (!over && runner().begun() < until_begun) {
      fail_store_call(1);
      world.loop.turn();
    }
  };
  fail_store_call(1);
  refuse_for(120000, 64);
  refuse_for(50, schedules);
  EXPECT_EQ(runner().begun(), 64u);
  EXPECT_EQ(runner().waiting(), 2u);
  fail_store_call(0);
  world.settle();
  EXPECT_EQ(runner().under_way(), 0u);
  for (size_t i = 0; i < schedules; i++)
    EXPECT_EQ(service::read_history(*service::find_schedule("s" + std::to_string(i))).size(), 1u) << i;
}

}  // namespace
}  // namespace service_test
