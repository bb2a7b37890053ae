// SPDX-License-Identifier: Apache-2.0
// Time records as the shell's handlers build them, and moments as people write them.
#pragma once

#include <chrono>
#include <string>

#include "schedcli.h"
#include "service/calendar/zone.h"

namespace calendar_test {

inline constexpr int sunday = 1, monday = 2, friday = 6;

inline sch_tminfo at(uint32_t type, int hour, int minute) {
  sch_tminfo time = {};
  time.type = type;
  time.hour = hour;
  time.minute = minute;
  return time;
}

inline sch_tminfo daily(int hour, int minute) {
  return at(SCH_SCHEDULE_DAILY, hour, minute);
}

inline sch_tminfo weekly(int day_of_week, int hour, int minute) {
  sch_tminfo time = at(SCH_SCHEDULE_WEEKLY, hour, minute);
  time.day_of_week = day_of_week;
  return time;
}

inline sch_tminfo monthly(int day_of_month, int hour, int minute) {
  sch_tminfo time = at(SCH_SCHEDULE_MONTHLY, hour, minute);
  time.day_of_month = day_of_month;
  return time;
}

inline sch_tminfo once(int year, int month, int day, int hour, int minute) {
  sch_tminfo time = at(SCH_SCHEDULE_ONESHOT, hour, minute);
  time.year = year - 1900;
  time.month = month - 1;
  time.day_of_month = day;
  return time;
}

inline sch_tminfo every(int days, int hours, int minutes, time_t start, uint32_t last_run = 0) {
  sch_tminfo time = at(SCH_SCHEDULE_PERIODIC, hours, minutes);
  time.day_of_week = days;
  time.start_time = static_cast<int32_t>(start);
  time.last_run = static_cast<int32_t>(last_run);
  return time;
}

inline time_t utc(int year, unsigned month, unsigned day, int hour, int minute, int second = 0) {
  using namespace std::chrono;
  const sys_days date = std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(day);
  return static_cast<time_t>(date.time_since_epoch().count()) * 86400 + hour * 3600 + minute * 60 + second;
}

inline service::Zone zone(const std::string &name) {
  const host::Result<service::Zone> loaded = service::Zone::load(name);
  return loaded ? *loaded : service::Zone();
}

// "2027-03-28 03:00:00 +02:00"
std::string shown(time_t moment, const service::Zone &zone);

time_t read(const std::string &text);  // the same, back; the seconds may be left out

}  // namespace calendar_test
