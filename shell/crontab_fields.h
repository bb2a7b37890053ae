// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/result.h"

namespace shell {

// One of the five fields: the values that it allows, ascending; `any`: all of them, written as "*".
struct CrontabField {
  bool any = false;
  std::vector<int> values;
};

struct CrontabTime {
  CrontabField minute, hour, day, month, weekday;  // weekday 0..6 from Sunday
};

// The five fields, or a name such as @daily. The error says which field is wrong.
host::Result<CrontabTime> read_crontab_time(const std::vector<std::string> &fields);
host::Result<CrontabTime> read_crontab_name(const std::string &name);

// The times of schedules that together are due when the table's line is: as the configuration's text has them behind
// "time ". The error says why there are none, and what comes nearest.
host::Result<std::vector<std::string>> schedule_times(const CrontabTime &time);

}  // namespace shell
