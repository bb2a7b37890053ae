// SPDX-License-Identifier: Apache-2.0
// Many schedules due at one moment, and what can go wrong at it: each due time has one outcome nevertheless, and the
// service answers.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/conditions.h"
#include "tests/system/oracle/requests.h"
#include "tests/system/oracle/stories.h"

namespace oracle {
namespace {

constexpr int day_s = 86400;

int how_many() {
  return conditions::is_long() ? 900 : 60;
}

// Of a world whose two schedules are due each minute as well.
void add_daily_schedules(World &world, int count) {
  const time_t due = world.now() + 60;
  const int minute_of_day = static_cast<int>(due % day_s / 60);
  for (int i = 0; i < count; i++) {
    const std::string name = "burst-" + std::to_string(i);
    ASSERT_EQ(world.config(SCH_OP_CREATE_SCHEDULE, named(name)), 0u);
    ASSERT_EQ(world.config(SCH_OP_MODIFY_SCHEDULE, assignment(name, "third")), 0u);
    ASSERT_EQ(world.config(SCH_OP_MODIFY_SCHEDULE, each_day(name, minute_of_day / 60, minute_of_day % 60)), 0u);
    world.ledger().add_schedule(name, {"third"}, due, day_s);
  }
}

void expect_all_is_right(World &world, size_t outcomes, const std::string &word) {
  EXPECT_EQ(text_of(world.judge()), "");
  EXPECT_GE(world.ledger().outcomes()[word], outcomes);
  EXPECT_EQ(text_of(world.judge_anew()), "");
}

TEST(Burst, on_a_disk_that_stalls_in_it_is_late_and_complete_and_requests_are_answered) {
  World world;
  add_daily_schedules(world, how_many());
  world.faults().stall_ms = conditions::is_long() ? 10000 : 500;
  world.to_next_minute();
  EXPECT_EQ(world.config(SCH_OP_CREATE_JOB, job_text("meanwhile", "")), 0u);
  while (world.faults().stall_ms != 0)
    usleep(1000);
  world.faults().stall_ms = 200;  // among the outcomes
  EXPECT_EQ(world.config(SCH_OP_DELETE_JOB, job_text("meanwhile", "", true)), 0u);
  expect_all_is_right(world, static_cast<size_t>(how_many()), "success");
}

TEST(Burst, is_not_repeated_when_the_clock_is_set_back_over_it) {
  World world;
  for (const char *schedule : {"A", "B"})
    ASSERT_EQ(world.control(control::Operation::disable_schedule, schedule), 0u);
  const time_t due = world.now() + 60;
  add_daily_schedules(world, how_many());
  world.to_next_minute();
  while (see_history(*world.client(), "burst-0").value().empty()) {  // what is due is taken together
  }
  world.set_clock_back(20 * 60 * 1000);
  for (int minute = 0; minute < 40; minute++)
    world.to_next_minute();
  for (int i = 0; i < how_many(); i++) {
    std::vector<SeenRun> runs;
    do
      runs = see_history(*world.client(), "burst-" + std::to_string(i)).value();
    while (runs.empty() || is_under_way(runs.front()));
    ASSERT_EQ(runs.size(), 1u) << i;
    EXPECT_EQ(runs.front().due, due);
    EXPECT_EQ(runs.front().outcome, "success");
  }
}

TEST(Burst, of_jobs_that_cannot_start_has_an_outcome_for_each_and_the_service_serves_on) {
  const system_test::TemporaryDirectory directory;
  const std::string interpreter = directory.path() + "/interpreter";
  std::filesystem::create_symlink("/bin/sh", interpreter);
  World world("[service]\ninterpreter=" + interpreter + "\n");
  add_daily_schedules(world, how_many());
  std::filesystem::remove(interpreter);
  world.to_next_minute();
  EXPECT_EQ(world.config(SCH_OP_CREATE_JOB, job_text("meanwhile", "")), 0u);
  EXPECT_EQ(text_of(world.judge()), "");
  EXPECT_EQ(world.ledger().outcomes()["not-started"], static_cast<size_t>(how_many()) + 4);
  std::filesystem::create_symlink("/bin/sh", interpreter);
  world.to_next_minute();
  expect_all_is_right(world, 2, "success");
}

TEST(Burst, under_a_limit_of_memory_is_made_up_for_when_it_is_lifted) {
  if (conditions::memory_is_the_sanitizers) GTEST_SKIP() << "a sanitizer ends a program that has no memory";
  for (const uint64_t spare : {0u, 32u, 256u}) {
    World world;
    add_daily_schedules(world, how_many());
    const uint64_t pages = [&] {
      uint64_t size = 0;
      std::ifstream("/proc/" + std::to_string(world.pid()) + "/statm") >> size;
      return size;
    }();
    world.prlimit(RLIMIT_AS, (pages + spare) * static_cast<uint64_t>(getpagesize()));
    world.to_next_minute();
    world.config(SCH_OP_CREATE_JOB, job_text("meanwhile", ""));  // refused or granted
    usleep(50000);
    world.prlimit(RLIMIT_AS, RLIM_INFINITY);
    expect_all_is_right(world, static_cast<size_t>(how_many()), "success");
  }
}

}  // namespace
}  // namespace oracle
