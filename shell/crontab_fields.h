// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/result.h"

namespace shell {

// One of the five fields: its allowed values, ascending. `any`: it was written as "*", which cron treats specially.
struct CrontabField {
  bool any = false;
  std::vector<int> values;
};

struct CrontabTime {
  CrontabField minute, hour, day, month, weekday;  // weekday 0..6 from Sunday
};

// Parse the five fields, and a name such as @daily. The error says which field is wrong.
host::Result<CrontabTime> read_crontab_time(const std::vector<std::string> &fields);
host::Result<CrontabTime> read_crontab_name(const std::string &name);

// The times of the schedules that together are due whenever the table's line is, as they follow "time " in a
// configuration. The error says why there are none, and what would be closest.
host::Result<std::vector<std::string>> schedule_times(const CrontabTime &time);

}  // namespace shell
