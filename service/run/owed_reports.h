// SPDX-License-Identifier: Apache-2.0
// Reports of runs that are to be mailed. Each is noted in the transaction that stores the run's end, under an ascending
// number, and the note is removed by a later transaction once the mail queue has the report. After a crash in between
// the next start finds the note, and the queue knows the last number that it has taken.
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

std::vector<OwedReport> read_owed_reports();  // ascending; only of existing schedules

// To be called within a batch. Both return a status.
uint32_t store_owed_report(const OwedReport &report);
uint32_t delete_owed_report(uint32_t number, const char *schedule);

}  // namespace service
