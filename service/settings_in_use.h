// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "service/request/context.h"

namespace service {

// Has error texts name the limits that these settings set.
void tell_limits(const Settings &settings);

// After a reload: passes the new settings to every part of the service that uses them.
void use(Context &context, std::shared_ptr<const Settings> settings);

}  // namespace service
