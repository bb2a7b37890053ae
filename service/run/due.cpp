// SPDX-License-Identifier: Apache-2.0
#include "service/run/due.h"

#include <algorithm>
#include <limits>

#include "service/state/tables.h"

namespace service {
namespace {

uint32_t next_by_specification(const sch_tminfo &time) {
  sch_timeval interval = {};
  time_t next = 0;
  if (sch_compute_timer_interval(&time, &interval, &next) != 0) return 0;
  return next <= 0 || next > time_t{std::numeric_limits<uint32_t>::max()} ? 0 : static_cast<uint32_t>(next);
}

// The latest slot that is not after now. False: there is no room for a following one.
bool move_to_latest_slot(sch_tminfo &time, int64_t slot, int64_t now) {
  int32_t period = 0;
  sch_compute_delta(&time, &period);
  if (period <= 0) return false;
  slot += std::max<int64_t>(0, now - slot) / period * period;
  if (slot + period > std::numeric_limits<int32_t>::max()) return false;
  time.last_run = static_cast<int32_t>(slot);
  return true;
}

}  // namespace

bool arm(sch_schedule_entry &entry, [[maybe_unused]] time_t now) {
  const uint32_t next = next_by_specification(entry.rec->time);
  set_next_due(entry, next);
  return next != 0;
}

void arm_next(sch_schedule_entry &entry, time_t now) {
  sch_tminfo &time = entry.rec->time;
  const uint32_t used = state_of(*entry.rec).next_due;
  set_next_due(entry, 0);
  if (time.type == SCH_SCHEDULE_ONESHOT) return;
  if (time.type != SCH_SCHEDULE_PERIODIC || move_to_latest_slot(time, used, now)) arm(entry, now);
}

void arm_anew(sch_schedule_entry &entry, time_t now) {
  if (entry.rec->time.last_run > now) entry.rec->time.last_run = 0;
  if (state_of(*entry.rec).next_due != 0) arm(entry, now);
}

}  // namespace service
