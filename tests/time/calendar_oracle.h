// SPDX-License-Identifier: Apache-2.0
// A second calculation of the next run, by searching the days one after the other with its own calendar. Nothing of it
// converts a calendar to a moment by the C library.
#pragma once

#include <ctime>

#include "schedcli.h"

namespace time_test {

struct Zone {
  const char *name;
  int standard_offset;  // seconds east of Greenwich
  int summer_offset;
};

// The moment of the next run, -1 when there is none at or behind now.
time_t expected_next(const sch_tminfo &record, time_t now, const Zone &zone);

}  // namespace time_test
