// SPDX-License-Identifier: Apache-2.0
// Keeps each schedule's next due time, computed by the calendar, in its entry.
#pragma once

#include <cstdint>
#include <ctime>
#include <vector>

#include "schedcli.h"

namespace service {

// Sets next_due from the time specification: a moment after now, or now itself if that is the start time. Due times
// that were taken are passed over. False: there is none (no time is set, or it has passed).
bool arm(sch_schedule_entry &entry, time_t now);

// Marks the due time as taken (by a run, or as missed) and sets the next one after now. The slots of a periodic
// schedule stay whole periods after its start time, however late the service is.
void arm_next(sch_schedule_entry &entry, time_t now);

// The next due times, ascending, as long as nothing is changed; none for a disabled schedule.
std::vector<uint32_t> coming_dues(const sch_schedule_entry &entry, size_t count);

// After the clock had been wrong: computes the due time anew, as if what was taken at times after now had not been
// taken.
void arm_anew(sch_schedule_entry &entry, time_t now);

// After a change of the zone. A schedule that is due already stays due. True: the due time has changed.
bool arm_in_zone(sch_schedule_entry &entry, time_t now);

// After a small step back (`step` < 0): periodic schedules go on by elapsed time.
void arm_after_step(sch_schedule_entry &entry, time_t step, time_t now);

}  // namespace service
