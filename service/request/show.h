// SPDX-License-Identifier: Apache-2.0
// Answers of the show service. Users see their own jobs and schedules, the administrator all.
#pragma once

#include "host/transport/transport.h"
#include "service/request/context.h"

namespace service {

// The named one, or without a name the next one after the cursor; the null reply when there is none.
host::Answer show_job(const Call &call, const ShowRequest &request);
host::Answer show_schedule(const Call &call, const ShowRequest &request);

// A stream of outcomes, oldest first; with a name, those of the schedule or job of that name. Output is made safe for a
// terminal (shown_output.h).
host::Answer show_log(const Call &call, const ShowRequest &request);

}  // namespace service
