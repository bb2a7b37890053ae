// SPDX-License-Identifier: Apache-2.0
// The next run of a schedule, and how far it is from now.
#include <cstdint>
#include <ctime>
#include <optional>

#include "diag/trace.h"
#include "schedcli.h"

namespace {

struct Now {
  time_t seconds;
  tm calendar;
};

// localtime_r alone would go on with a zone that has been changed since. With TZ set this costs no system call; without
// it, one look at the zone's file, as each mktime does too: that is how a new zone is noticed without a restart.
Now read_clock() {
  tzset();
  Now now{time(nullptr), {}};
  localtime_r(&now.seconds, &now.calendar);
  return now;
}

// Today at the schedule's time of day. Everything else is copied from now, the daylight-saving flag included: a run
// on the other side of a clock change is meant to keep the offset that is in force now. mktime corrects the copy in
// place, and a second mktime of it starts from the corrected fields.
tm today_at(const sch_tminfo &record, const Now &now) {
  tm calendar = now.calendar;
  calendar.tm_sec = 0;
  calendar.tm_hour = record.hour;
  calendar.tm_min = record.minute;
  return calendar;
}

time_t next_daily(const sch_tminfo &record, const Now &now) {
  tm calendar = today_at(record, now);
  const time_t today = mktime(&calendar);
  if (today > now.seconds) {
    SCH_TRACE_CLI("interval on current day");
    return today;
  }
  SCH_TRACE_CLI("interval on next day");
  calendar.tm_mday += 1;
  return mktime(&calendar);
}

time_t next_weekly(const sch_tminfo &record, const Now &now) {
  tm calendar = today_at(record, now);
  const int64_t days_ahead = int64_t{record.day_of_week} - 1 - now.calendar.tm_wday;
  int64_t day_of_month = calendar.tm_mday + days_ahead;
  if (days_ahead > 0) {
    SCH_TRACE_CLI("interval within current week");
  } else if (days_ahead < 0) {
    SCH_TRACE_CLI("interval in next week");
    day_of_month += 7;
  } else {
    const bool passed = mktime(&calendar) <= now.seconds;
    day_of_month = calendar.tm_mday + (passed ? 7 : 0);
  }
  calendar.tm_mday = static_cast<int>(day_of_month);
  return mktime(&calendar);
}

time_t next_monthly(const sch_tminfo &record, const Now &now) {
  tm calendar = today_at(record, now);
  const int year = now.calendar.tm_year;
  const int month = now.calendar.tm_mon;
  const int day = normalize_day_of_month(year, month, record.day_of_month);
  if (now.calendar.tm_mday < day) {
    SCH_TRACE_CLI("interval in current month");
    calendar.tm_mday = day;
  } else if (now.calendar.tm_mday > day) {
    SCH_TRACE_CLI("interval incrementing to next month");
    calendar.tm_mday = normalize_day_of_month(year, month + 1, record.day_of_month);
    calendar.tm_mon += 1;
  } else if (mktime(&calendar) <= now.seconds) {
    // The configured day goes in unclamped on purpose: day 31 that ran on 31 January comes next in early March.
    calendar.tm_mday = record.day_of_month;
    calendar.tm_mon += 1;
  }
  return mktime(&calendar);
}

time_t next_periodic(const sch_tminfo &record, time_t now) {
  int32_t period = 0;
  sch_compute_delta(&record, &period);
  if (record.last_run >= record.start_time) return static_cast<time_t>(int64_t{record.last_run} + period);
  if (record.start_time <= now) return static_cast<time_t>(int64_t{now} + period);
  return record.start_time;
}

std::optional<time_t> next_run(const sch_tminfo &record, const Now &now) {
  switch (record.type) {
    case SCH_SCHEDULE_ONESHOT:
      return mktime_from_tminfo(&record);
    case SCH_SCHEDULE_DAILY:
      return next_daily(record, now);
    case SCH_SCHEDULE_WEEKLY:
      return next_weekly(record, now);
    case SCH_SCHEDULE_MONTHLY:
      return next_monthly(record, now);
    case SCH_SCHEDULE_PERIODIC:
      return next_periodic(record, now.seconds);
    default:
      return std::nullopt;
  }
}

// A moment behind the year 9999 has no calendar text.
struct CalendarText {
  char text[26] = "";
  explicit CalendarText(time_t moment) {
    if (ctime_r(&moment, text) == nullptr) text[0] = '\0';
  }
};

}  // namespace

int sch_compute_timer_interval(const sch_tminfo *record, sch_timeval *interval, time_t *next_time) {
  const Now now = read_clock();
  const std::optional<time_t> next = next_run(*record, now);
  if (!next) return -1;
  SCH_TRACE_CLI("Future %s", CalendarText(*next).text);
  SCH_TRACE_CLI("Now %s", CalendarText(now.seconds).text);
  *interval = {0, 0};
  if (*next < now.seconds) return -1;
  *next_time = *next;
  interval->seconds = static_cast<int32_t>(int64_t{*next} - now.seconds);
  return 0;
}
