// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "host/result.h"
#include "schedcli.h"

namespace service {

// A schedule's time as it follows "time " in the configuration's text, by the wall clock of the service's zone. Empty
// if it has none.
std::string time_line(const sch_tminfo &time);

// Parses such a line. A time that has passed is accepted.
host::Result<sch_tminfo> read_time_line(std::string_view line);

}  // namespace service
