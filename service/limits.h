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

// Schedules that run at once; further due ones wait for their turn. The last places are for owners of whom nothing
// runs, so that a few with many hanging runs keep nobody from running at all.
inline constexpr size_t run_limit = 64;
inline constexpr size_t run_limit_per_owner = 16;
inline constexpr size_t run_places_for_others = 16;

// What ends together is stored together: long enough for a burst to share its commits, too short to be noticed.
inline constexpr unsigned outcome_wait_ms = 3;

// After a commit that failed: the first pause, doubled for each further failure up to the longest.
inline constexpr unsigned retry_ms = 100;
inline constexpr unsigned longest_retry_ms = 10000;

// Ended runs whose outcomes wait for the disk, with their output: further runs begin when it has taken some of them.
inline constexpr size_t unrecorded_limit = 64;

inline constexpr unsigned job_time_limit_s = 3600;  // longer is a job that hangs
inline constexpr unsigned job_grace_ms = 5000;      // between the polite signal and the final one

// A schedule that is noticed later than this has missed its time (the clock was set forward, the machine slept).
inline constexpr time_t late_limit_s = 60;

// What was missed longer ago than this is not made up for, where that is wanted at all.
inline constexpr time_t missed_window_s = 24 * 3600;

// Due times of one schedule that are walked to count them; a schedule that runs daily has missed three years by then.
inline constexpr uint32_t missed_count_limit = 1000;

// A clock set back by less than this repeats no run (the end of daylight saving, a small correction); a larger step
// says that the clock had been wrong, and every schedule is computed anew.
inline constexpr time_t clock_step_limit_s = 3 * 3600;

inline constexpr size_t log_piece_limit = 32 * 1024;  // output in one message of the log stream: half a frame

}  // namespace service
