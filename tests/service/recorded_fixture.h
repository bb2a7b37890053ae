// SPDX-License-Identifier: Apache-2.0
// Schedules of which tests look at the runs on disk.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "service/run/history.h"
#include "service/state/tables.h"
#include "tests/service/world.h"

namespace service_test {

using service::HistoryRun;
using service::Outcome;
using service::Reason;
using ::testing::ElementsAre;
using ::testing::SizeIs;

inline constexpr time_t minute = 60, day = 86400;
inline constexpr time_t due = noon + 30 * minute;

inline std::vector<HistoryRun> history(const std::string &schedule) {
  return service::read_history(*service::find_schedule(schedule));
}

struct Recorded : ::testing::Test {
  World world;

  void configure(const std::string &schedule, const std::vector<std::string> &jobs, const sch_tminfo &time) {
    for (const std::string &job : jobs)
      if (service::find_job(job) == nullptr) {
        ASSERT_EQ(create_job(world, job, "echo " + job + "\n"), 0u);
      }
    ASSERT_EQ(create_schedule(world, schedule, jobs, time), 0u);
  }
};

}  // namespace service_test
