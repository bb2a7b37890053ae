// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>

#include "schedcli.h"

namespace control {

// When a schedule that runs once is due, as the wall clock of its zone shows it.
inline tm wall_clock_of(const sch_tminfo &time) {
  tm fields = {};
  fields.tm_year = time.year;
  fields.tm_mon = time.month;
  fields.tm_mday = time.day_of_month;
  fields.tm_hour = time.hour;
  fields.tm_min = time.minute;
  return fields;
}

}  // namespace control
