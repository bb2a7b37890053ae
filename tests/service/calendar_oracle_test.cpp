// SPDX-License-Identifier: Apache-2.0
// Due times against another calculation: the wall clock of the C library, read minute by minute. A time of the wall
// clock is due in the minute in which the clock reaches or passes it for the first time.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "service/calendar/calendar.h"
#include "tests/service/calendar_records.h"

namespace calendar_test {
namespace {

constexpr time_t minute = 60, hour = 3600, day = 86400;

constexpr const char *zones[] = {
    "Africa/Cairo",     "Africa/Casablanca", "Africa/El_Aaiun",     "Africa/Windhoek",      "America/Asuncion",
    "America/Caracas",  "America/Havana",    "America/Mexico_City", "America/New_York",     "America/Nuuk",
    "America/Santiago", "America/Sao_Paulo", "America/St_Johns",    "America/Scoresbysund", "Antarctica/Casey",
    "Antarctica/Troll", "Asia/Amman",        "Asia/Beirut",         "Asia/Dhaka",           "Asia/Gaza",
    "Asia/Hebron",      "Asia/Istanbul",     "Asia/Kathmandu",      "Asia/Kolkata",         "Asia/Pyongyang",
    "Asia/Tehran",      "Asia/Tokyo",        "Asia/Ulaanbaatar",    "Atlantic/Azores",      "Australia/Lord_Howe",
    "Australia/Sydney", "Europe/Berlin",     "Europe/Dublin",       "Europe/London",        "Europe/Moscow",
    "Europe/Volgograd", "Pacific/Apia",      "Pacific/Auckland",    "Pacific/Chatham",      "Pacific/Fiji"};
static_assert(std::size(zones) == 40);

bool long_run() {
  return std::getenv("SCHEDCLI_LONG_TESTS") != nullptr;
}

// The process's zone, for the C library.
struct InZone {
  explicit InZone(const char *name) {
    setenv("TZ", name, 1);
    tzset();
  }
  ~InZone() {
    setenv("TZ", "UTC", 1);
    tzset();
  }
};

tm calendar_of(time_t moment) {
  tm calendar = {};
  localtime_r(&moment, &calendar);
  return calendar;
}

// What the wall clock shows, in minutes.
int64_t shown_minute(time_t moment) {
  return (int64_t{moment} + calendar_of(moment).tm_gmtoff) / minute;
}

struct Day {
  int weekday, day, last;  // weekday as the record has it; the month's last day
};

Day day_of(int64_t minute_shown) {
  const time_t start = static_cast<time_t>(minute_shown / 1440) * day;
  tm date = {}, later = {};
  gmtime_r(&start, &date);
  int last = date.tm_mday;
  for (time_t next = start + day; gmtime_r(&next, &later)->tm_mon == date.tm_mon; next += day)
    last = later.tm_mday;
  return {date.tm_wday + 1, date.tm_mday, last};
}

bool matches(const sch_tminfo &time, int64_t minute_shown, const Day &date) {
  if (minute_shown % 1440 != time.hour * 60 + time.minute) return false;
  switch (time.type) {
    case SCH_SCHEDULE_DAILY:
      return true;
    case SCH_SCHEDULE_WEEKLY:
      return date.weekday == time.day_of_week;
    case SCH_SCHEDULE_MONTHLY:
      return date.day == std::min(time.day_of_month, date.last);
    default:
      return false;
  }
}

std::vector<sch_tminfo> recurring(time_t start) {
  std::vector<sch_tminfo> all;
  for (const int at : {0, 1, 30, 59, 60, 90, 119, 120, 130, 150, 179, 180, 210, 540, 1380, 1410, 1439})
    all.push_back(daily(at / 60, at % 60));
  for (int weekday = 1; weekday <= 7; weekday++)
    for (const int at : {0, 30, 120, 150, 1410})
      all.push_back(weekly(weekday, at / 60, at % 60));
  for (const int date : {1, 15, 25, 28, 29, 30, 31})
    for (const int at : {0, 30, 150, 1410})
      all.push_back(monthly(date, at / 60, at % 60));
  all.push_back(every(0, 0, 7, start));
  all.push_back(every(1, 0, 0, start));
  all.push_back(every(0, 5, 11, start));
  return all;
}

struct Reached {
  int64_t shown;
  time_t when;
};

// Each minute of the wall clock in the order in which it is reached.
template <typename Visit>
void read_wall_clock(time_t from, time_t to, Visit visit) {
  int64_t highest = shown_minute(from);
  for (time_t now = from + minute; now <= to; now += minute) {
    const int64_t shows = shown_minute(now);
    while (highest < shows)
      visit(Reached{++highest, now});
  }
}

using Dues = std::vector<time_t>;

std::vector<Dues> expected(const std::vector<sch_tminfo> &times, time_t from, time_t to) {
  std::vector<Dues> dues(times.size());
  Day date = {};
  int64_t date_of = -1;
  read_wall_clock(from, to, [&](const Reached &reached) {
    if (date_of != reached.shown / 1440) date = day_of(reached.shown);
    date_of = reached.shown / 1440;
    for (size_t i = 0; i < times.size(); i++)
      if (matches(times[i], reached.shown, date) && (dues[i].empty() || dues[i].back() != reached.when))
        dues[i].push_back(reached.when);
  });
  for (size_t i = 0; i < times.size(); i++) {
    if (times[i].type != SCH_SCHEDULE_PERIODIC) continue;
    int32_t period = 0;
    sch_compute_delta(&times[i], &period);
    for (time_t due = times[i].start_time; due <= to; due += period)
      if (due > from) dues[i].push_back(due);
  }
  return dues;
}

// As the service asks: after each due time, which it has taken.
Dues computed(const sch_tminfo &given, time_t from, time_t to, const service::Zone &in) {
  Dues dues;
  sch_tminfo time = given;
  service::WallTime taken = service::nothing_taken;
  for (time_t now = from;;) {
    const std::optional<uint32_t> due = service::next_due(time, now, in, taken);
    if (!due || *due > to) return dues;
    dues.push_back(now = *due);
    if (service::counts_elapsed_time(time))
      time.last_run = static_cast<int32_t>(*due);
    else
      taken = in.wall_at(now);
  }
}

std::string text(const sch_tminfo &time) {
  return "type " + std::to_string(time.type) + ", day of week " + std::to_string(time.day_of_week) + ", day " +
         std::to_string(time.day_of_month) + ", " + std::to_string(time.hour) + ":" + std::to_string(time.minute);
}

void compare_recurring(time_t from, time_t to, const service::Zone &in) {
  const std::vector<sch_tminfo> times = recurring(from + hour);
  const std::vector<Dues> wanted = expected(times, from, to);
  for (size_t i = 0; i < times.size(); i++) {
    const Dues dues = computed(times[i], from, to, in);
    ASSERT_EQ(dues, wanted[i]) << text(times[i]) << " in " << in.identifier() << " after " << shown(from, in);
  }
}

void compare_one_shots(time_t from, time_t to, const service::Zone &in) {
  constexpr int64_t step = 7;
  read_wall_clock(from, to, [&](const Reached &reached) {
    if (reached.shown % step != 0) return;
    const time_t as_utc = static_cast<time_t>(reached.shown) * minute;
    tm date = {};
    gmtime_r(&as_utc, &date);
    const sch_tminfo time = once(date.tm_year + 1900, date.tm_mon + 1, date.tm_mday, date.tm_hour, date.tm_min);
    const std::optional<uint32_t> due = service::next_due(time, from, in);
    EXPECT_EQ(due.value_or(0), reached.when) << shown(reached.when, in) << " " << in.identifier();
    EXPECT_EQ(service::next_due(time, reached.when, in), std::nullopt);
  });
}

// The C library's, hour by hour.
std::vector<time_t> changes(time_t from, time_t to) {
  std::vector<time_t> found;
  for (time_t now = from; now < to; now += hour)
    if (calendar_of(now).tm_gmtoff != calendar_of(now + hour).tm_gmtoff) found.push_back(now);
  return found;
}

const time_t first_moment = utc(1996, 1, 1, 0, 0), last_moment = utc(2038, 1, 1, 0, 0);

struct Oracle : ::testing::TestWithParam<const char *> {};

TEST_P(Oracle, no_due_time_is_missing_and_none_comes_twice_around_a_change) {
  const InZone process(GetParam());
  const service::Zone in = zone(GetParam());
  ASSERT_EQ(in.identifier(), GetParam());
  const std::vector<time_t> all = changes(first_moment, last_moment);
  const size_t stride = long_run() ? 1 : 25;  // odd: with two changes a year both kinds have their turn
  for (size_t i = 0; i < all.size(); i += stride) {
    compare_recurring(all[i] - 2 * day, all[i] + 2 * day, in);
    compare_one_shots(all[i] - 3 * hour, all[i] + 5 * hour, in);
    if (HasFatalFailure() || HasNonfatalFailure()) return;
  }
}

TEST_P(Oracle, no_due_time_is_missing_and_none_comes_twice_in_all_years) {
  const InZone process(GetParam());
  const service::Zone in = zone(GetParam());
  const time_t from = long_run() ? first_moment : utc(2027, 1, 20, 0, 0);
  compare_recurring(from, long_run() ? last_moment : from + 42 * day, in);
}

TEST_P(Oracle, offsets_are_those_of_the_c_library) {
  const InZone process(GetParam());
  const service::Zone in = zone(GetParam());
  const time_t step = long_run() ? 15 * minute : 13 * hour;
  for (time_t now = 0; now < last_moment; now += step)
    ASSERT_EQ(in.offset_at(now), calendar_of(now).tm_gmtoff) << shown(now, in);
}

std::string name_of(const ::testing::TestParamInfo<const char *> &info) {
  std::string name = info.param;
  std::replace(name.begin(), name.end(), '/', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Zones, Oracle, ::testing::ValuesIn(zones), name_of);

}  // namespace
}  // namespace calendar_test
