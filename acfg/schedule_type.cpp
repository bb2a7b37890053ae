// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdio>

#include "acfg/start_fields.h"

namespace {

void print_daily(const sch_tminfo &time, char *buffer, uint32_t size) {
  if (time.hour < 0) {
    std::snprintf(buffer, size, "  time daily %02d\n", time.minute);
  } else {
    std::snprintf(buffer, size, "  time daily %02d:%02d\n", time.hour, time.minute);
  }
}

// An unset day or hour prints as 0 here, where a daily line leaves an unset hour out: both are meant.
void print_weekly(const sch_tminfo &time, char *buffer, uint32_t size) {
  std::snprintf(buffer, size, "  time weekly %02d:%02d:%02d\n", std::max(time.day_of_week, 0), std::max(time.hour, 0),
                time.minute);
}

void print_monthly(const sch_tminfo &time, char *buffer, uint32_t size) {
  std::snprintf(buffer, size, "  time monthly %02d:%02d:%02d\n", std::max(time.day_of_month, 0), std::max(time.hour, 0),
                time.minute);
}

void print_one_shot(const sch_tminfo &time, char *buffer, uint32_t size) {
  const acfg::StartFields start = acfg::start_of_one_shot(time);
  std::snprintf(buffer, size, "  time start %d:%02d:%02d:%02d:%02d\n", start.year, start.month, start.day, start.hour,
                start.minute);
}

void print_periodic(const sch_tminfo &time, char *buffer, uint32_t size) {
  const acfg::StartFields start = acfg::start_of_periodic(time);
  std::snprintf(buffer, size, "  time start %d:%02d:%02d:%02d:%02d repeat %d:%d:%d\n", start.year, start.month,
                start.day, start.hour, start.minute, std::max(time.day_of_week, 0), std::max(time.hour, 0),
                time.minute);
}

}  // namespace

int sch_acfg_print_schedule_type(const sch_tminfo *time_info, char *buffer, uint32_t size) {
  if (buffer == nullptr) return 0;
  switch (time_info->type) {
    case SCH_SCHEDULE_ONESHOT:
      print_one_shot(*time_info, buffer, size);
      break;
    case SCH_SCHEDULE_DAILY:
      print_daily(*time_info, buffer, size);
      break;
    case SCH_SCHEDULE_WEEKLY:
      print_weekly(*time_info, buffer, size);
      break;
    case SCH_SCHEDULE_MONTHLY:
      print_monthly(*time_info, buffer, size);
      break;
    case SCH_SCHEDULE_PERIODIC:
      print_periodic(*time_info, buffer, size);
      break;
    default:
      break;
  }
  return 0;
}
