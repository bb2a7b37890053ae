// SPDX-License-Identifier: Apache-2.0
// How an outcome reads in the job log.
#pragma once

#include <string>

#include "service/joblog/joblog.h"
#include "service/run/run_step.h"

namespace service {

// What is logged in place of a job's name where no job is meant; no job can have it.
inline constexpr char no_job[] = "-";

LogRecord log_record(const RunStep &step);

// For the log to be completed from, after a crash.
OutcomeSource stored_outcomes();

// "Sat Nov 21 10:00:00 2026", as the show commands print times.
std::string time_text(time_t moment);

}  // namespace service
