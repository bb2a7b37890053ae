// SPDX-License-Identifier: Apache-2.0
// Existing names, for shells that complete them or check them before a change.
#pragma once

#include "service/request/context.h"

namespace service {

host::Answer find_named(const Call &call, Payload payload);
host::Answer list_names(const Call &call, Payload payload);

}  // namespace service
