// SPDX-License-Identifier: Apache-2.0
// When a schedule is due. Daily, weekly, monthly and one-shot times are times of the wall clock: one that the clock
// skips (summer time begins) is due at the end of the gap, one that comes twice (summer time ends) the first time. A
// day that a month does not have is its last day. A periodic schedule counts elapsed time from its start.
#pragma once

#include <cstdint>
#include <ctime>
#include <limits>
#include <optional>

#include "schedcli.h"
#include "service/calendar/zone.h"

namespace service {

inline constexpr WallTime nothing_taken = {std::numeric_limits<int64_t>::min()};

// The next due time strictly after `after` that fits in 32 unsigned bits. Times of the wall clock up to `taken` are not
// due again, even if the clock was set back or the zone has changed; for a periodic schedule last_run, the slot that
// was taken last, has that effect.
std::optional<uint32_t> next_due(const sch_tminfo &time, time_t after, const Zone &zone,
                                 WallTime taken = nothing_taken);

bool counts_elapsed_time(const sch_tminfo &time);  // rather than by the wall clock

int64_t period_of(const sch_tminfo &time);  // seconds between the slots of a periodic schedule

}  // namespace service
