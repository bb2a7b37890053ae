// SPDX-License-Identifier: Apache-2.0
// Run state: what the schedule records and the job log say about runs. Unlike a request, what has happened has
// happened: a store that refuses is reported, and memory keeps the new state, so that nothing runs twice.
#pragma once

#include <string>

#include "service/joblog/joblog.h"
#include "service/run/outcome.h"
#include "service/state/schedule_state.h"

namespace service {

// What is logged in place of a job's name where no job is meant; no job can have it.
inline constexpr char no_job[] = "-";

// One batch.
void store_run_state(const std::vector<sch_schedule_entry *> &entries);

// A log record of the schedule, filled but for what happened.
LogRecord log_record(const sch_schedule_entry &entry, const std::string &job, uint32_t wait_status, time_t now);

void set_job_status(sch_job_entry &slot, const sch_schedule_entry &entry, uint32_t wait_status, time_t now);

// "Sat Nov 21 10:00:00 2026", as the show commands print times.
std::string time_text(time_t moment);

}  // namespace service
