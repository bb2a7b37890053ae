// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "service/request/context.h"

namespace service {

// A job or schedule under another name: whatever belongs to it stays its own. What has been logged keeps the old name.
host::Answer rename_named(const Call &call, Payload payload);

}  // namespace service
