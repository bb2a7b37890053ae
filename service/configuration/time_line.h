// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "host/result.h"
#include "schedcli.h"

namespace service {

// A schedule's time as the configuration's text has it behind "time ": by the wall clock of the service's zone. Empty:
// there is none.
std::string time_line(const sch_tminfo &time);

// The time that such a line means. One that has passed is none the less a time.
host::Result<sch_tminfo> read_time_line(std::string_view line);

}  // namespace service
