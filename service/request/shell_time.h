// SPDX-License-Identifier: Apache-2.0
// The library's handlers are exact in a zone that never changes its clocks. So a shell lives in a fixed zone, with the
// offset that is in force at the service now, and moments are translated where they come in and go out: what a shell
// reads or prints in its fixed zone is what the service's wall clock shows at that moment.
#pragma once

#include <cstdint>
#include <ctime>

#include "schedcli.h"
#include "service/calendar/zone.h"

namespace service {

// Of a one-shot or periodic time as a shell sends it: start_time becomes the moment that was meant. 0, or the library's
// own status for what has passed by the service's wall clock or lies beyond what can be stored.
uint32_t take_in_time(sch_tminfo *time, const Zone &zone, time_t now);

// As a shell is to print it. 0 (never) stays 0.
int32_t time_for_shell(uint32_t moment, const Zone &zone, time_t now);

}  // namespace service
