// SPDX-License-Identifier: Apache-2.0
// How a run, or a job in it, ended.
#pragma once

#include <cstdint>
#include <string>

#include "schedcli.h"

namespace service {

// How an outcome came about, if not by the job's own end. Stored, so values must not change.
enum class Reason : uint8_t {
  ended = 0,        // the job ended by itself, with success or not
  not_yet_run = 1,  // never stored
  no_jobs = 2,
  missed = 3,
  skipped = 4,      // the run before was still under way
  interrupted = 5,  // by a crash of the service or of the machine
  stopped = 6,      // by the orderly end of the service
  user = 7,         // the owner does not exist any more, is another user, or was refused
  not_started = 8,
  timed_out = 9,
  killed = 10,  // by an operator
};

const char *word_for(Reason reason);  // "missed": one word, for machines

// The exit code that stands for a reason. The library's show commands print only bits 8 to 15 of a wait status, so
// every reason needs a code; these are not used by shells or sysexits.h.
uint32_t exit_code(Reason reason);
inline uint32_t exit_status(Reason reason) {
  return exit_code(reason) << 8;
}

// The wait status that is recorded: a death by a signal becomes exit code 128 + signal, as in a shell, since its exit
// code bits are 0, which the show commands would print as success.
uint32_t recorded_status(int wait_status);

// Instead of a job's id, for an outcome of the whole run.
inline constexpr uint32_t no_job_id = 0xffffffff;

// The outcome of one job in one run, or of a whole run that started no job (missed, skipped, without jobs).
struct Outcome {
  uint64_t run = 0;       // number of the run: ascending over all schedules and restarts, never reused
  uint64_t sequence = 0;  // number of the outcome: likewise, in the order of storing; 0: not stored yet
  uint32_t due = 0;       // 0: an operator started the run
  Reason reason = Reason::ended;
  uint32_t wait_status = 0;  // see recorded_status()
  int64_t run_begin_ms = 0;  // wall clock; when the schedule was found due, 0: not known
  int64_t begin_ms = 0;      // when the job began; 0: it did not
  int64_t end_ms = 0;
  uint32_t job_id = no_job_id;
  std::string job;
  std::string asked_by;  // the operator who started the run; empty: it was due
  std::string remark;    // an explanation where the reason does not say all
  uint64_t output_bytes = 0;
  uint32_t killed = 0;  // number of processes that had to be killed when the job had ended

  uint32_t missed_count = 0;  // if missed: the number of due times that this outcome stands for; `due` is the first
  uint32_t missed_last = 0;   // and this is the last
};

}  // namespace service
