// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "service/request/context.h"

namespace service {

// The service's status, as "key: value" lines. The administrator sees every user's share, other users only their own.
std::string status_text(const Call &call);
std::string standby_status_text(const Settings &settings, time_t started, bool administrator);

}  // namespace service
