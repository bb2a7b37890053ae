// SPDX-License-Identifier: Apache-2.0
// What an operator orders: a run now, its end, a schedule that is due no longer or again. The schedule's owner may, and
// the administrator.
#pragma once

#include "service/request/context.h"

namespace service {

host::Answer run_schedule(const Call &call, Payload payload);
host::Answer kill_run(const Call &call, Payload payload);
host::Answer set_schedule_enabled(const Call &call, Payload payload, bool enabled);

}  // namespace service
