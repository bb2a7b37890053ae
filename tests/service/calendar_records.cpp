// SPDX-License-Identifier: Apache-2.0
#include "tests/service/calendar_records.h"

#include <cstdio>
#include <cstdlib>

namespace calendar_test {

std::string shown(time_t moment, const service::Zone &zone) {
  using namespace std::chrono;
  const sys_seconds wall{seconds(zone.wall_at(moment).seconds)};
  const sys_days day = floor<days>(wall);
  const year_month_day date(day);
  const hh_mm_ss time(wall - day);
  const int minutes = zone.offset_at(moment) / 60;
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d %c%02d:%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()), minutes < 0 ? '-' : '+', std::abs(minutes) / 60,
                std::abs(minutes) % 60);
  return text;
}

time_t read(const std::string &text) {
  int year = 0, hour = 0, minute = 0, second = 0, offset_hours = 0, offset_minutes = 0;
  unsigned month = 0, day = 0;
  char sign = 0;
  if (std::sscanf(text.c_str(), "%d-%u-%u %d:%d:%d %c%d:%d", &year, &month, &day, &hour, &minute, &second, &sign,
                  &offset_hours, &offset_minutes) != 9 &&
      std::sscanf(text.c_str(), "%d-%u-%u %d:%d %c%d:%d", &year, &month, &day, &hour, &minute, &sign, &offset_hours,
                  &offset_minutes) != 8)
    std::abort();
  const int offset = (offset_hours * 60 + offset_minutes) * 60;
  return utc(year, month, day, hour, minute, second) - (sign == '-' ? -offset : offset);
}

}  // namespace calendar_test
