// SPDX-License-Identifier: Apache-2.0
#include "time/calendar.h"

time_t mktime_from_tminfo(const sch_tminfo *record) {
  print_tminfo(record);
  tm calendar = calendar_of(*record);
  return mktime(&calendar);
}
