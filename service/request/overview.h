// SPDX-License-Identifier: Apache-2.0
// A schedule's time in words.
#pragma once

#include "service/request/context.h"

namespace service {

host::Answer explain_time(const Call &call, Payload payload);

std::string how_often(const sch_tminfo &time);  // "daily 23:30", "every 1d 02h 30m", "no time"

}  // namespace service
