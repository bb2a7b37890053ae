// SPDX-License-Identifier: Apache-2.0
// Every day of 2024 to 2028, every schedule type, four zones: the computed run against the oracle's.
#include <gtest/gtest.h>

#include "tests/platform/platform.h"
#include "tests/time/calendar_oracle.h"
#include "tests/time/moments.h"

namespace {

using namespace platform_test;
using namespace time_test;

constexpr int hour = 3600;
constexpr time_t first_day = 1704067200;  // 2024-01-01 00:00 UTC
constexpr time_t last_day = 1861833600;   // 2028-12-31 00:00 UTC
constexpr int seconds_into_day[] = {0, 2 * hour + 30 * 60, 12 * hour + 34 * 60 + 56, 23 * hour + 59 * 60 + 59};

std::vector<sch_tminfo> recurring_schedules() {
  std::vector<sch_tminfo> records;
  for (int clock_hour : {0, 2, 12, 23})
    records.push_back(daily(clock_hour, clock_hour == 12 ? 34 : 30));
  for (int day = 1; day <= 7; ++day)
    for (int clock_hour : {2, 12})
      records.push_back(weekly(day, clock_hour, 30));
  for (int day : {1, 15, 28, 29, 30, 31})
    for (int clock_hour : {2, 12})
      records.push_back(monthly(day, clock_hour, 30));
  return records;
}

std::vector<sch_tminfo> dated_schedules(time_t now) {
  const tm today = local(now);
  std::vector<sch_tminfo> records;
  for (int clock_hour : {2, 12, 22})
    records.push_back(oneshot(today.tm_year + 1900, today.tm_mon + 1, today.tm_mday, clock_hour, 30));
  for (time_t start : {now - hour, now, now + hour}) {
    records.push_back(periodic(1, 2, 3, start));
    records.push_back(periodic(0, 2, 3, start, now - hour));
    records.push_back(periodic(0, 0, 59, start, now - hour));
  }
  return records;
}

::testing::AssertionResult agrees(const sch_tminfo &record, const Zone &zone) {
  sch_timeval interval{};
  time_t next = -1;
  const int result = sch_compute_timer_interval(&record, &interval, &next);
  const time_t expected = expected_next(record, fake.now, zone);
  const bool same = next == expected && result == (expected < 0 ? -1 : 0) && interval.microseconds == 0 &&
                    interval.seconds == (expected < 0 ? 0 : expected - fake.now);
  if (same) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "now " << text_of(fake.now) << ": " << record << "\ncomputed " << next << " "
                                       << text_of(next) << "\nexpected " << expected << " " << text_of(expected);
}

class TimerSweep : public platform_test::PlatformTest, public ::testing::WithParamInterface<Zone> {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    fake.history_allowed = fake.buginf_allowed = fake.record_calls = false;
    platform_test::set_zone(GetParam().name);
  }
};

TEST_P(TimerSweep, every_day_of_five_years_agrees_with_the_second_calculation) {
  const std::vector<sch_tminfo> recurring = recurring_schedules();
  int compared = 0;
  for (time_t day = first_day; day <= last_day; day += 24 * hour) {
    for (int seconds : seconds_into_day) {
      fake.now = day - GetParam().standard_offset + seconds;
      for (const sch_tminfo &record : recurring)
        ASSERT_TRUE(agrees(record, GetParam())) << ++compared;
      for (const sch_tminfo &record : dated_schedules(fake.now))
        ASSERT_TRUE(agrees(record, GetParam()));
      compared += static_cast<int>(recurring.size());
    }
  }
  EXPECT_EQ(compared, 1827 * 4 * 30);
}

INSTANTIATE_TEST_SUITE_P(Zones, TimerSweep,
                         ::testing::Values(Zone{"UTC", 0, 0}, Zone{"Europe/Berlin", hour, 2 * hour},
                                           Zone{"Australia/Sydney", 10 * hour, 11 * hour},
                                           Zone{"Asia/Kolkata", 5 * hour + hour / 2, 0}),
                         [](const auto &instance) {
                           std::string name = instance.param.name;
                           std::replace(name.begin(), name.end(), '/', '_');
                           return name;
                         });

}  // namespace
