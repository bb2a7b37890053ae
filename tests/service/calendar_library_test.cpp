// SPDX-License-Identifier: Apache-2.0
// Where no clock changes, the calendar and the library's timer computation are the same.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>

#include "service/calendar/calendar.h"
#include "tests/service/calendar_records.h"
#include "tests/service/world.h"

namespace calendar_test {
namespace {

constexpr const char *zones_without_changes[] = {"UTC", "<+0530>-5:30", "<-0930>9:30", "<+14>-14", "<-11>11"};

struct Random {
  std::mt19937_64 source{20261122};

  int number(int lowest, int highest) { return std::uniform_int_distribution<int>(lowest, highest)(source); }
  time_t moment() { return std::uniform_int_distribution<time_t>(0, utc(2099, 12, 1, 0, 0))(source); }
};

// Its start is ahead, or it has run and is not late. Without a run the library counts from the moment of the question,
// the calendar from the start.
sch_tminfo random_periodic(Random &random, time_t now) {
  constexpr int most_days = 30;
  sch_tminfo time = every(random.number(0, most_days), random.number(0, 23), random.number(1, 59), 0);
  if (random.number(0, 1) == 0) {
    time.start_time = static_cast<int32_t>(now + random.number(1, most_days * 86400));
    return time;
  }
  const auto waited = random.number(0, static_cast<int>(service::period_of(time)));
  time.last_run = static_cast<int32_t>(std::max<time_t>(1, now - waited));
  time.start_time = random.number(0, time.last_run);
  return time;
}

sch_tminfo random_record(Random &random, time_t now) {
  const int hour = random.number(0, 23), minute = random.number(0, 59);
  switch (random.number(0, 4)) {
    case 0:
      return daily(hour, minute);
    case 1:
      return weekly(random.number(1, 7), hour, minute);
    case 2:
      return monthly(random.number(1, 31), hour, minute);
    case 3:
      return once(random.number(1970, 2105), random.number(1, 12), random.number(1, 28), hour, minute);
    default:
      // The library's start and last run are signed.
      return now > INT32_MAX - 60 * time_t{86400} ? daily(hour, minute) : random_periodic(random, now);
  }
}

// On the due day, its time passed, the library goes on to that day of the next month, which may not have it.
bool unclamped_day_strikes(const sch_tminfo &time, time_t now, const service::Zone &in) {
  if (time.type != SCH_SCHEDULE_MONTHLY) return false;
  const time_t wall = static_cast<time_t>(in.wall_at(now).seconds);
  tm date = {};
  gmtime_r(&wall, &date);
  const bool today = date.tm_mday == normalize_day_of_month(date.tm_year, date.tm_mon, time.day_of_month);
  const bool passed = date.tm_hour * 60 + date.tm_min >= time.hour * 60 + time.minute;
  return today && passed &&
         normalize_day_of_month(date.tm_year, date.tm_mon + 1, time.day_of_month) != time.day_of_month;
}

std::optional<uint32_t> library_says(const sch_tminfo &time, time_t now) {
  service_test::set_clock(now);
  sch_timeval interval = {};
  time_t next = 0;
  if (sch_compute_timer_interval(&time, &interval, &next) != 0 || next <= 0 || next > UINT32_MAX) return std::nullopt;
  return static_cast<uint32_t>(next);
}

std::optional<uint32_t> calendar_says(const sch_tminfo &time, time_t now, const service::Zone &in) {
  const bool by_wall_clock = time.type != SCH_SCHEDULE_ONESHOT && time.type != SCH_SCHEDULE_PERIODIC;
  return service::next_due(time, by_wall_clock ? now : now - 1, in);
}

TEST(CalendarAndLibrary, agree_where_no_clock_changes) {
  Random random;
  int compared = 0;
  for (const char *name : zones_without_changes) {
    setenv("TZ", name, 1);
    tzset();
    const service::Zone in = zone(name);
    for (int i = 0; i < 4000; i++) {
      const time_t now = random.moment();
      const sch_tminfo time = random_record(random, now);
      if (unclamped_day_strikes(time, now, in)) continue;
      compared++;
      ASSERT_EQ(calendar_says(time, now, in), library_says(time, now))
          << name << ", now " << shown(now, in) << ", type " << time.type << ", day of week " << time.day_of_week
          << ", day " << time.day_of_month << " at " << time.hour << ":" << time.minute << ", start " << time.start_time
          << ", last run " << time.last_run;
    }
  }
  EXPECT_GT(compared, 19000);
  setenv("TZ", "UTC", 1);
  tzset();
}

// At its very minute, a second before and a second after, where the rules differ most easily.
TEST(CalendarAndLibrary, agree_at_the_due_second_itself) {
  Random random;
  setenv("TZ", "UTC", 1);
  tzset();
  const service::Zone utc_zone;
  for (int i = 0; i < 3000; i++) {
    const time_t now = random.moment();
    const sch_tminfo time = random_record(random, now);
    const std::optional<uint32_t> due = service::next_due(time, now, utc_zone);
    if (!due || time.type == SCH_SCHEDULE_PERIODIC) continue;
    for (const time_t around : {time_t{*due} - 1, time_t{*due}, time_t{*due} + 1}) {
      if (unclamped_day_strikes(time, around, utc_zone)) continue;
      ASSERT_EQ(calendar_says(time, around, utc_zone), library_says(time, around)) << shown(around, utc_zone);
    }
  }
}

}  // namespace
}  // namespace calendar_test
