// SPDX-License-Identifier: Apache-2.0
#include "service/request/shell_time.h"

#include <algorithm>
#include <limits>

#include "service/calendar/calendar.h"

namespace service {
namespace {

// A wall clock time that comes twice means the first, unless that has passed and the second has not.
time_t meant(time_t sent, const Zone &zone, time_t now) {
  const WallTime typed = {int64_t{sent} + zone.offset_at(now)};
  const time_t first = zone.moment_of(typed);
  return first < now && zone.wall_at(sent) == typed ? sent : first;
}

uint32_t take_in_start(sch_tminfo *time, const Zone &zone, time_t now) {
  const time_t start = meant(time->start_time, zone, now);
  if (start < now) return SCH_STATUS_TIME_IN_PAST;
  if (start > std::numeric_limits<int32_t>::max()) return SCH_STATUS_TIME_OUT_OF_RANGE;
  time->start_time = static_cast<int32_t>(start);
  return 0;
}

uint32_t check_once(const sch_tminfo &time, const Zone &zone, time_t now) {
  if (next_due(time, now - 1, zone)) return 0;
  return next_due(time, 0, zone) ? SCH_STATUS_TIME_IN_PAST : SCH_STATUS_TIME_OUT_OF_RANGE;
}

}  // namespace

uint32_t take_in_time(sch_tminfo *time, const Zone &zone, time_t now) {
  switch (time->type) {
    case SCH_SCHEDULE_PERIODIC:
      return take_in_start(time, zone, now);
    case SCH_SCHEDULE_ONESHOT:
      return check_once(*time, zone, now);
    default:
      return 0;
  }
}

int32_t time_for_shell(uint32_t moment, const Zone &zone, time_t now) {
  if (moment == 0) return 0;
  const int64_t shown = zone.wall_at(moment).seconds - zone.offset_at(now);
  return static_cast<int32_t>(static_cast<uint32_t>(std::clamp<int64_t>(shown, 1, UINT32_MAX)));
}

}  // namespace service
