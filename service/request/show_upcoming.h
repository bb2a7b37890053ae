// SPDX-License-Identifier: Apache-2.0
// Shows when schedules are due.
#pragma once

#include <string>
#include <vector>

#include "host/result.h"
#include "service/request/context.h"

namespace service {

struct UpcomingAsked {
  uint32_t count;        // 0: the usual number
  std::string schedule;  // empty: all
};
host::Result<UpcomingAsked> upcoming_asked(Payload payload);

struct Upcoming {
  const sch_schedule_entry *entry;
  uint32_t due;  // 0: disabled
};
std::vector<Upcoming> soonest(const Call &call, uint32_t count);
std::vector<uint32_t> next_dues(const sch_schedule_entry &entry, uint32_t count);

// Each schedule's next due time, the earliest first, then those that are disabled; or one schedule's next due times.
host::Answer show_upcoming(const Call &call, Payload payload);

}  // namespace service
