// SPDX-License-Identifier: Apache-2.0
// The repeat period of periodic schedules.
#include <cstdint>

#include "diag/trace.h"
#include "schedcli.h"

// A periodic schedule keeps its repeat days in day_of_week. A period beyond 32 bits wraps, as the field does.
int sch_compute_delta(const sch_tminfo *record, int32_t *seconds) {
  const int64_t total =
      int64_t{record->day_of_week} * 86400 + int64_t{record->hour} * 3600 + int64_t{record->minute} * 60;
  *seconds = static_cast<int32_t>(total);
  return 0;
}

void print_timeval(const sch_timeval *value) {
  SCH_TRACE_CLI("seconds %d", value->seconds);
  SCH_TRACE_CLI("micro seconds %d", value->microseconds);
}
