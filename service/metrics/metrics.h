// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>

#include "host/transport/transport.h"

namespace service {

host::Answer show_standby_metrics(time_t started);

}  // namespace service
