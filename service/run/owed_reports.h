// SPDX-License-Identifier: Apache-2.0
// Reports of runs that somebody is to get by mail. Each is noted in the transaction that stores its run's end, under a
// number that ascends, and taken out by a later one when the mail queue has it: what a crash comes between is found at
// the next start, and the queue remembers the last number that it took.
#pragma once

#include <cstdint>
#include <vector>

#include "schedcli.h"

namespace service {

struct OwedReport {
  uint32_t number = 0;
  uint64_t run = 0;
  const sch_schedule_entry *entry = nullptr;
};

std::vector<OwedReport> read_owed_reports();  // ascending; of schedules that are there

// Within a batch; a status.
uint32_t store_owed_report(const OwedReport &report);
uint32_t delete_owed_report(uint32_t number, const char *schedule);

}  // namespace service
