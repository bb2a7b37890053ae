// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <string>

#include "service/request/context.h"

namespace service {

// How the service does, for a monitoring system. Whatever is counted is counted from the service's start on, but for
// the outcomes that were stored ever.
std::string metrics_text(const Call &call);
std::string standby_metrics_text(time_t started);

}  // namespace service
