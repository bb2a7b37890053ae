// SPDX-License-Identifier: Apache-2.0
#include "tests/time/moments.h"

#include <cstring>
#include <ostream>
#include <stdexcept>

namespace time_test {

time_t moment(const std::string &text) {
  for (int daylight_saving : {0, 1}) {
    tm calendar{};
    if (strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &calendar) == nullptr) break;
    calendar.tm_isdst = daylight_saving;
    const time_t seconds = mktime(&calendar);
    if (text_of(seconds) == text) return seconds;
  }
  throw std::invalid_argument("no such moment: " + text);
}

std::string text_of(time_t moment) {
  const tm calendar = local(moment);
  char text[64];
  strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %Z", &calendar);
  return text;
}

tm local(time_t moment) {
  tm calendar{};
  localtime_r(&moment, &calendar);
  return calendar;
}

sch_tminfo unset() {
  return {static_cast<uint32_t>(untouched),
          untouched,
          untouched,
          untouched,
          untouched,
          untouched,
          untouched,
          untouched,
          untouched};
}

sch_tminfo daily(int hour, int minute) {
  sch_tminfo record{};
  record.type = SCH_SCHEDULE_DAILY;
  record.hour = hour;
  record.minute = minute;
  return record;
}

sch_tminfo weekly(int day_of_week, int hour, int minute) {
  sch_tminfo record = daily(hour, minute);
  record.type = SCH_SCHEDULE_WEEKLY;
  record.day_of_week = day_of_week;
  return record;
}

sch_tminfo monthly(int day_of_month, int hour, int minute) {
  sch_tminfo record = daily(hour, minute);
  record.type = SCH_SCHEDULE_MONTHLY;
  record.day_of_month = day_of_month;
  return record;
}

sch_tminfo oneshot(int year, int month, int day, int hour, int minute) {
  sch_tminfo record = monthly(day, hour, minute);
  record.type = SCH_SCHEDULE_ONESHOT;
  record.year = year - 1900;
  record.month = month - 1;
  return record;
}

sch_tminfo periodic(int days, int hours, int minutes, time_t start, time_t last_run) {
  sch_tminfo record = daily(hours, minutes);
  record.type = SCH_SCHEDULE_PERIODIC;
  record.day_of_week = days;
  record.start_time = static_cast<int32_t>(start);
  record.last_run = static_cast<int32_t>(last_run);
  return record;
}

}  // namespace time_test

bool operator==(const sch_tminfo &left, const sch_tminfo &right) {
  return std::memcmp(&left, &right, sizeof left) == 0;
}

std::ostream &operator<<(std::ostream &out, const sch_tminfo &record) {
  return out << "type " << record.type << " hour " << record.hour << " day_of_week " << record.day_of_week
             << " day_of_month " << record.day_of_month << " minute " << record.minute << " month " << record.month
             << " year " << record.year << " start " << record.start_time << " last run " << record.last_run;
}
