// SPDX-License-Identifier: Apache-2.0
// The library's handlers compute times correctly only in a zone without summer time. So a shell uses a zone with a
// fixed offset, the one that the service's zone has now, and the service translates the times of requests and replies:
// what the shell reads or prints in its fixed zone is what the service's wall clock shows at that moment.
#pragma once

#include <cstdint>
#include <ctime>

#include "schedcli.h"
#include "service/calendar/zone.h"

namespace service {

// Translates a one-shot or periodic time from a shell: start_time becomes the moment that the operator meant. Returns
// 0, or the library's status for a time that has passed by the service's wall clock or that cannot be stored.
uint32_t take_in_time(sch_tminfo *time, const Zone &zone, time_t now);

// Translates a moment for a shell. 0 (never) stays 0.
int32_t time_for_shell(uint32_t moment, const Zone &zone, time_t now);

}  // namespace service
