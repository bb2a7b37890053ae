// SPDX-License-Identifier: Apache-2.0
// The service's limits, each with its reason; those of what travels have theirs in schedcli_requests.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "schedcli_requests.h"

namespace service {

inline constexpr uint32_t job_text_limit = SCH_JOB_TEXT_LIMIT;
inline constexpr uint32_t log_size_min = SCH_LOG_SIZE_MIN;
inline constexpr uint32_t log_size_max = SCH_LOG_SIZE_MAX;

// Of all, and of one user, so that nobody uses up everybody's share. Both may be configured: no request costs more when
// there are more schedules, but a listing, a start and the store grow with them.
inline constexpr uint32_t schedules_limit = 10000;
inline constexpr uint32_t schedules_per_user_limit = 1000;

// What a job may print before the rest is only counted: more than the usual log holds, little enough for many at once.
inline constexpr size_t capture_limit = 256 * 1024;

// Schedules that run at once; further due ones wait for their turn.
inline constexpr size_t run_limit = 64;

inline constexpr unsigned job_time_limit_s = 3600;  // longer is a job that hangs
inline constexpr unsigned job_grace_ms = 5000;      // between the polite signal and the final one
inline constexpr int job_stop_ms = 1000;            // the same when the service itself ends

// A schedule that is noticed later than this has missed its time (the clock was set forward, the machine slept).
inline constexpr time_t late_limit_s = 60;

// A clock set back by less than this repeats no run (the end of daylight saving, a small correction); a larger step
// says that the clock had been wrong, and every schedule is computed anew.
inline constexpr time_t clock_step_limit_s = 3 * 3600;

inline constexpr size_t log_piece_limit = 32 * 1024;  // output in one message of the log stream: half a frame

}  // namespace service
