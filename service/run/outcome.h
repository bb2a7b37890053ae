// SPDX-License-Identifier: Apache-2.0
// How a run, or a job in it, ended.
#pragma once

#include <cstdint>
#include <string>

#include "schedcli.h"

namespace service {

// Why an outcome is not a job's own ending. Stored: the values stay as they are.
enum class Reason : uint8_t {
  ended = 0,        // by itself: its wait status is its own, whatever it is
  not_yet_run = 1,  // never stored
  no_jobs = 2,
  missed = 3,
  skipped = 4,      // the run before was still under way
  interrupted = 5,  // by a crash of the service or of the machine
  stopped = 6,      // by the orderly end of the service
  user = 7,         // the owner is gone, changed or refused
  not_started = 8,
  timed_out = 9,
  killed = 10,  // an operator asked for it
};

const char *word_for(Reason reason);  // "missed": one word, for machines

// What the show commands print for it: they read bits 8 to 15 of the wait status and nothing else, so that everything
// but success needs a code of its own. The codes leave those of shells and of sysexits.h alone.
uint32_t exit_code(Reason reason);
inline uint32_t exit_status(Reason reason) {
  return exit_code(reason) << 8;
}

// The wait status as it is recorded: death by a signal becomes exit code 128 + signal, as a shell has it, for the show
// commands would take its exit code of 0 for success.
uint32_t recorded_status(int wait_status);

// No job: the outcome is that of the whole run.
inline constexpr uint32_t no_job_id = 0xffffffff;

// Of one job in one run, or of the run where no job has one of its own (missed, skipped, without jobs).
struct Outcome {
  uint64_t run = 0;       // ascending over all schedules and restarts, never given twice
  uint64_t sequence = 0;  // the same for outcomes, in the order in which they were stored; 0: not stored yet
  uint32_t due = 0;       // 0: somebody asked for the run
  Reason reason = Reason::ended;
  uint32_t wait_status = 0;  // as recorded
  int64_t run_begin_ms = 0;  // wall clock; when the schedule was found due, 0: not known
  int64_t begin_ms = 0;      // when the job began; 0: it did not
  int64_t end_ms = 0;
  uint32_t job_id = no_job_id;
  std::string job;
  std::string asked_by;  // by whom the run was asked for; empty: it was due
  std::string remark;    // the service's own words, where the reason does not say all
  uint64_t output_bytes = 0;
  uint32_t killed = 0;  // processes that had to be killed when the job had ended

  uint32_t missed_count = 0;  // of a missed one: how many due times this outcome stands for, `due` being the first
  uint32_t missed_last = 0;   // and the last
};

}  // namespace service
