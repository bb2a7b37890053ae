// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include "show/line.h"

namespace {

constexpr const char *day_names[] = {"Sunday ",   "Monday ", "Tuesday ", "Wednesday ",
                                     "Thursday ", "Friday ", "Saturday "};

// By the last digit. 8 has no suffix: the gap is meant.
constexpr const char *day_suffixes[] = {"th", "st", "nd", "rd", "th", "th", "th", "th", "", "th"};

const char *day_suffix(int32_t day) {
  constexpr uint32_t first_th = 4;
  constexpr uint32_t last_th = 20;
  if (static_cast<uint32_t>(day) - first_th <= last_th - first_th) return "th";
  const int32_t digit = day % 10;
  return digit < 0 ? "" : day_suffixes[digit];
}

}  // namespace

void print_weekly_schedule(const sch_tminfo *time_info) {
  const uint32_t index = static_cast<uint32_t>(time_info->day_of_week) - 1u;
  std::printf("Run on every %sat %d Hrs %d Mins\n", index < 7 ? day_names[index] : "** ", time_info->hour,
              time_info->minute);
}

void print_monthly_schedule(const sch_tminfo *time_info) {
  std::printf("Run on every %d%s of every month at %d Hrs %d Mins\n", time_info->day_of_month,
              day_suffix(time_info->day_of_month), time_info->hour, time_info->minute);
}

void print_schedule_type(const sch_tminfo *time_info) {
  std::fputs("Schedule Type       : ", stdout);
  switch (time_info->type) {
    case SCH_SCHEDULE_ONESHOT:
      std::fputs("Run once on ", stdout);
      show::print_time(mktime_from_tminfo(time_info));
      break;
    case SCH_SCHEDULE_DAILY:
      std::printf("Run every day at %d Hrs %d Mins\n", time_info->hour, time_info->minute);
      break;
    case SCH_SCHEDULE_WEEKLY:
      print_weekly_schedule(time_info);
      break;
    case SCH_SCHEDULE_MONTHLY:
      print_monthly_schedule(time_info);
      break;
    case SCH_SCHEDULE_PERIODIC:
      std::printf("Run every %d Days %d Hrs %d Mins\n", time_info->day_of_week, time_info->hour, time_info->minute);
      break;
    default:
      std::puts("None");
  }
}
