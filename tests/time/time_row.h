// SPDX-License-Identifier: Apache-2.0
// A row of the tables that say how a schedule's time is written as text.
#pragma once

#include "schedcli.h"

struct TimeRow {
  const char *scenario;
  uint32_t type;
  int32_t hour, day_of_week, day_of_month, minute, month, year, start_time;
  const char *text;
};

inline sch_tminfo record(const TimeRow &row) {
  return {row.type, row.hour, row.day_of_week, row.day_of_month, row.minute, row.month, row.year, row.start_time, 0};
}
