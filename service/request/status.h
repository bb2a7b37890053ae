// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "service/request/context.h"

namespace service {

// How the service does, as "key: value" lines. An administrator sees every user's share, anyone else their own.
std::string status_text(const Call &call);
std::string standby_status_text(const Settings &settings, time_t started, bool administrator);

}  // namespace service
