// SPDX-License-Identifier: Apache-2.0
// When a schedule is due next: what the calendar says, kept in the entry.
#pragma once

#include <cstdint>
#include <ctime>
#include <vector>

#include "schedcli.h"

namespace service {

// Sets next_due from the time specification, to a moment after now, or now when that was asked for. A due time that was
// taken is not due again. False: there is none (no time set, or one that has passed).
bool arm(sch_schedule_entry &entry, time_t now);

// Takes the due time, by a run or by missing it, and sets the following one, later than now. The slots of a periodic
// schedule stay a whole number of periods behind its start, however late the service is.
void arm_next(sch_schedule_entry &entry, time_t now);

// The due times that lie ahead if nothing is changed, the next one first; none of a disabled schedule.
std::vector<uint32_t> coming_dues(const sch_schedule_entry &entry, size_t count);

// As if nothing had run yet that now lies ahead: after the clock had been wrong.
void arm_anew(sch_schedule_entry &entry, time_t now);

// In a zone that has become another; what is due already stays so. True: the due time is another.
bool arm_in_zone(sch_schedule_entry &entry, time_t now);

// After the clock was set back by a small step (< 0): what counts elapsed time goes on in it.
void arm_after_step(sch_schedule_entry &entry, time_t step, time_t now);

}  // namespace service
