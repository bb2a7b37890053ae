// SPDX-License-Identifier: Apache-2.0
// Completes what the operator left out of a one-shot time, and turns relative times into absolute ones.
#include <cstdint>

#include "schedcli.h"
#include "time/calendar.h"

namespace {

constexpr int not_given = -1;
constexpr int epoch_year = 1900;

// A field given as a huge number wraps, as 32-bit fields do, and is refused by the verification.
int add(int left, int right) {
  return static_cast<int>(int64_t{left} + right);
}

int complete(int given, int now, bool relative) {
  if (given == not_given) return now;
  return relative ? add(given, now) : given;
}

}  // namespace

int get_start_time(const char *text, sch_tminfo *record, const struct tm *now_tm) {
  record->hour = record->day_of_week = record->day_of_month = record->month = record->year = not_given;
  const bool relative = *text == '+';
  if (sch_parse_str_to_tminfo(relative ? text + 1 : text, record) < 0) return SCH_ERR_BAD_TIME_FORMAT;
  record->type = SCH_SCHEDULE_ONESHOT;
  if (relative) record->minute = add(record->minute, now_tm->tm_min);
  record->hour = complete(record->hour, now_tm->tm_hour, relative);
  if (record->day_of_month == not_given)
    record->day_of_month = complete(record->day_of_week, now_tm->tm_mday, relative);
  if (record->month != not_given && relative) return SCH_ERR_BAD_TIME_FORMAT;
  record->month = record->month == not_given ? now_tm->tm_mon : add(record->month, -1);
  record->year = record->year == not_given ? now_tm->tm_year : add(record->year, -epoch_year);
  if (relative) normalize_incremental_time(record);
  return sch_verify_tminfo(record);
}

void normalize_incremental_time(sch_tminfo *record) {
  print_tminfo(record);
  tm calendar = calendar_of(*record);
  const time_t moment = mktime(&calendar);
  localtime_r(&moment, &calendar);
  record->minute = calendar.tm_min;
  record->hour = calendar.tm_hour;
  record->day_of_month = calendar.tm_mday;
  record->month = calendar.tm_mon;
  record->year = calendar.tm_year;
}
