// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "service/request/context.h"

namespace service {

// One run with its jobs, of a schedule that the caller may see.
host::Answer show_run(const Call &call, uint64_t number);

}  // namespace service
