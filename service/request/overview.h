// SPDX-License-Identifier: Apache-2.0
// A line for each schedule, and an explanation of a schedule's time.
#pragma once

#include "service/request/context.h"

namespace service {

host::Answer show_overview(const Call &call);
host::Answer explain_time(const Call &call, Payload payload);

std::string how_often(const sch_tminfo &time);  // "daily 23:30", "every 1d 02h 30m", "no time"

}  // namespace service
