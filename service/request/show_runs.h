// SPDX-License-Identifier: Apache-2.0
// Shows runs, those under way and those in the history.
#pragma once

#include "service/request/context.h"

namespace service {

// Newest first, a line each; or one run with its jobs.
host::Answer show_history(const Call &call, Payload payload);

}  // namespace service
