// SPDX-License-Identifier: Apache-2.0
// Operators' orders: start a run, end one, disable or enable a schedule. For the schedule's owner and the
// administrator.
#pragma once

#include "service/request/context.h"

namespace service {

host::Answer run_schedule(const Call &call, Payload payload);
host::Answer kill_run(const Call &call, Payload payload);
host::Answer set_schedule_enabled(const Call &call, Payload payload, bool enabled);

}  // namespace service
