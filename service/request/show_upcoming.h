// SPDX-License-Identifier: Apache-2.0
// Shows when schedules are due.
#pragma once

#include "service/request/context.h"

namespace service {

// Each schedule's next due time, the earliest first, then those that are disabled; or one schedule's next due times.
host::Answer show_upcoming(const Call &call, Payload payload);

}  // namespace service
