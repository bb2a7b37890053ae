// SPDX-License-Identifier: Apache-2.0
// When a schedule is due next. The library computes; here its answer is turned into what the service stores.
#pragma once

#include <cstdint>
#include <ctime>

#include "schedcli.h"

namespace service {

// Sets next_due from the time specification, as of now. False: there is none (no time set, or one that has passed).
bool arm(sch_schedule_entry &entry, time_t now);

// After the due time was used up, by a run or by missing it: the following one, later than now. The slots of a periodic
// schedule stay a whole number of periods behind its start, however late the service is.
void arm_next(sch_schedule_entry &entry, time_t now);

// As if nothing had run yet: after the clock had been wrong.
void arm_anew(sch_schedule_entry &entry, time_t now);

}  // namespace service
