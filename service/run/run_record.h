// SPDX-License-Identifier: Apache-2.0
// Converts outcomes to records of the job log.
#pragma once

#include <string>

#include "service/joblog/joblog.h"
#include "service/run/run_step.h"

namespace service {

// Logged instead of a job's name for the outcome of a whole run. Not a valid name, so no job can have it.
inline constexpr char no_job[] = "-";

LogRecord log_record(const RunStep &step);

// The outcomes in the store, from which the log is completed after a crash.
OutcomeSource stored_outcomes();

// "Sat Nov 21 10:00:00 2026", as the show commands print times.
std::string time_text(time_t moment);

}  // namespace service
