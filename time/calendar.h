// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>

#include "schedcli.h"

// The record's date and time as the C library's broken-down time. Its daylight-saving flag is 0 on purpose: the
// operator's hour is read as standard time.
inline tm calendar_of(const sch_tminfo &record) {
  tm calendar{};
  calendar.tm_min = record.minute;
  calendar.tm_hour = record.hour;
  calendar.tm_mday = record.day_of_month;
  calendar.tm_mon = record.month;
  calendar.tm_year = record.year;
  return calendar;
}
