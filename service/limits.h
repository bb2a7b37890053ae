// SPDX-License-Identifier: Apache-2.0
// The service's limits, each with its reason. Those that clients need too are in schedcli_requests.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "schedcli_requests.h"

namespace service {

inline constexpr uint32_t job_text_limit = SCH_JOB_TEXT_LIMIT;
inline constexpr uint32_t log_size_min = SCH_LOG_SIZE_MIN;
inline constexpr uint32_t log_size_max = SCH_LOG_SIZE_MAX;

// The output that is kept of a job; the rest is only counted. More than a log of the default size holds, and small
// enough for many jobs at once.
inline constexpr size_t capture_limit = 256 * 1024;

// Runs at once; further ones wait for their turn. The last places are reserved for owners without a run under way, so
// that others' hanging runs cannot keep an owner from running anything.
inline constexpr size_t run_limit = 64;
inline constexpr size_t run_limit_per_owner = 16;
inline constexpr size_t run_places_for_others = 16;

// Outcomes wait so long to be stored in one commit: long enough for a burst to share it, too short to be noticed.
inline constexpr unsigned outcome_wait_ms = 3;

// The pause after a failed commit, doubled after each further failure up to the longest.
inline constexpr unsigned retry_ms = 100;
inline constexpr unsigned longest_retry_ms = 10000;

// Ended runs whose outcomes are not stored yet, and so are held in memory with their outputs. At this limit no further
// runs begin.
inline constexpr size_t unrecorded_limit = 64;

inline constexpr unsigned job_time_limit_s = 3600;  // a job that takes longer is assumed to hang
inline constexpr unsigned job_grace_ms = 5000;      // between SIGTERM and SIGKILL

// A schedule that is noticed later than this has missed its time (the clock was set forward, the machine slept).
inline constexpr time_t late_limit_s = 60;

// With missed=run-once: a due time that was missed longer ago than this is not made up for.
inline constexpr time_t missed_window_s = 24 * 3600;

// Missed due times of one schedule that are counted one by one: nearly three years of a daily schedule.
inline constexpr uint32_t missed_count_limit = 1000;

// A clock that is set back by less than this repeats no run (end of summer time, a small correction). A larger step
// means that the clock had been wrong, and every schedule is computed anew.
inline constexpr time_t clock_step_limit_s = 3 * 3600;

inline constexpr size_t log_piece_limit = 32 * 1024;  // output in one message of the log stream: half a frame

}  // namespace service
