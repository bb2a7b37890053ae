// SPDX-License-Identifier: Apache-2.0
// When a schedule is due. Daily, weekly, monthly and one-shot times are times of the wall clock: one that the clock
// leaps over is due at the end of the leap, one that it shows twice is due the first time. A day of the month that a
// month has not is its last day. A periodic schedule counts elapsed time from its start.
#pragma once

#include <cstdint>
#include <ctime>
#include <limits>
#include <optional>

#include "schedcli.h"
#include "service/calendar/zone.h"

namespace service {

inline constexpr WallTime nothing_taken = {std::numeric_limits<int64_t>::min()};

// The next due time strictly after `after`, of those that 32 unsigned bits of seconds hold. Times of the wall clock up
// to `taken` are not due again, whatever the clock or the zone has become; a periodic schedule keeps that in last_run,
// the slot from which it counts on.
std::optional<uint32_t> next_due(const sch_tminfo &time, time_t after, const Zone &zone,
                                 WallTime taken = nothing_taken);

bool counts_elapsed_time(const sch_tminfo &time);  // rather than by the wall clock

int64_t period_of(const sch_tminfo &time);  // seconds between the slots of a periodic schedule

}  // namespace service
