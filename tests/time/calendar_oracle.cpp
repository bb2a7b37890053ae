// SPDX-License-Identifier: Apache-2.0
#include "tests/time/calendar_oracle.h"

#include <algorithm>

#include "tests/time/moments.h"

namespace time_test {
namespace {

struct Date {
  int year, month, day;  // month 1..12
};

struct Wall {
  Date date;
  int hour, minute;
  bool summer;
};

bool is_leap(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int length_of(int year, int month) {
  constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && is_leap(year) ? 29 : lengths[month - 1];
}

Date tomorrow(Date date) {
  if (++date.day <= length_of(date.year, date.month)) return date;
  date.day = 1;
  if (++date.month <= 12) return date;
  return {date.year + 1, 1, 1};
}

Date days_behind(Date date, int days) {
  while (days-- > 0)
    date = tomorrow(date);
  return date;
}

// Counted year by year and month by month.
long long days_since_epoch(Date date) {
  long long days = date.day - 1;
  for (int year = 1970; year < date.year; ++year)
    days += is_leap(year) ? 366 : 365;
  for (int month = 1; month < date.month; ++month)
    days += length_of(date.year, month);
  return days;
}

int weekday(Date date) {
  return static_cast<int>((days_since_epoch(date) + 4) % 7) + 1;
}  // 1 is Sunday

// A wall clock is read in the offset that its flag names, whether or not that offset is in force then.
time_t moment_of(const Wall &wall, const Zone &zone) {
  const long long seconds = days_since_epoch(wall.date) * 86400 + wall.hour * 3600 + wall.minute * 60;
  return static_cast<time_t>(seconds - (wall.summer ? zone.summer_offset : zone.standard_offset));
}

Wall wall_at(time_t moment) {
  const tm clock = local(moment);
  return {{clock.tm_year + 1900, clock.tm_mon + 1, clock.tm_mday}, clock.tm_hour, clock.tm_min, clock.tm_isdst > 0};
}

Date same_day_next_month(Date date) {
  return date.month == 12 ? Date{date.year + 1, 1, date.day} : Date{date.year, date.month + 1, date.day};
}

Wall today_at(const sch_tminfo &record, time_t now) {
  Wall wall = wall_at(now);
  wall.hour = record.hour;
  wall.minute = record.minute;
  return wall;
}

// Where the clock leaps over the time of day, the run came at the time that the clock showed instead; the next one is
// at that time, too.
Wall shown_today(const Wall &today, const Zone &zone) {
  return wall_at(moment_of(today, zone));
}

time_t on(Wall wall, Date date, const Zone &zone) {
  wall.date = date;
  return moment_of(wall, zone);
}

time_t daily_next(const Wall &today, time_t now, const Zone &zone) {
  if (moment_of(today, zone) > now) return moment_of(today, zone);
  const Wall shown = shown_today(today, zone);
  return on(shown, tomorrow(shown.date), zone);
}

time_t weekly_next(int day_of_week, const Wall &today, time_t now, const Zone &zone) {
  if (weekday(today.date) != day_of_week) {
    Date date = tomorrow(today.date);
    while (weekday(date) != day_of_week)
      date = tomorrow(date);
    return on(today, date, zone);
  }
  if (moment_of(today, zone) > now) return moment_of(today, zone);
  const Wall shown = shown_today(today, zone);
  return on(shown, days_behind(shown.date, 7), zone);
}

time_t monthly_next(int day, const Wall &today, time_t now, const Zone &zone) {
  const Date date = today.date;
  const int due_day = std::min(day, length_of(date.year, date.month));
  if (date.day < due_day) return on(today, {date.year, date.month, due_day}, zone);
  if (date.day == due_day) {
    if (moment_of(today, zone) > now) return moment_of(today, zone);
    // Counted on from the first of the next month, so that a day it does not have falls into the month behind it. The
    // month follows today's even where the clock showed yesterday.
    const Wall shown = shown_today(today, zone);
    const Date first = same_day_next_month({shown.date.year, shown.date.month, 1});
    return on(shown, days_behind(first, day - 1), zone);
  }
  const Date next = same_day_next_month({date.year, date.month, 1});
  return on(today, {next.year, next.month, std::min(day, length_of(next.year, next.month))}, zone);
}

time_t oneshot_next(const sch_tminfo &record, const Zone &zone) {
  return moment_of({{record.year + 1900, record.month + 1, record.day_of_month}, record.hour, record.minute, false},
                   zone);
}

// Periods count seconds, whatever the clocks do.
time_t periodic_next(const sch_tminfo &record, time_t now) {
  const int period = ((record.day_of_week * 24 + record.hour) * 60 + record.minute) * 60;
  if (record.last_run >= record.start_time) return record.last_run + period;
  return record.start_time > now ? record.start_time : now + period;
}

time_t candidate(const sch_tminfo &record, time_t now, const Zone &zone) {
  const Wall today = today_at(record, now);
  switch (record.type) {
    case SCH_SCHEDULE_ONESHOT:
      return oneshot_next(record, zone);
    case SCH_SCHEDULE_DAILY:
      return daily_next(today, now, zone);
    case SCH_SCHEDULE_WEEKLY:
      return weekly_next(record.day_of_week, today, now, zone);
    case SCH_SCHEDULE_MONTHLY:
      return monthly_next(record.day_of_month, today, now, zone);
    default:
      return periodic_next(record, now);
  }
}

}  // namespace

time_t expected_next(const sch_tminfo &record, time_t now, const Zone &zone) {
  const time_t next = candidate(record, now, zone);
  return next >= now ? next : -1;
}

}  // namespace time_test
