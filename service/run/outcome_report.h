// SPDX-License-Identifier: Apache-2.0
// Reports each outcome as a line of the system log, for monitoring many machines.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace service {

struct OutcomeReport {
  std::string schedule;
  std::string job;  // empty: the schedule as a whole
  std::string owner;
  uint64_t run = 0;     // 0: its schedule is deleted
  std::string outcome;  // one word: success, failed, missed, skipped, interrupted, ...
  uint32_t status = 0;  // the exit code as the show commands print it
  time_t due = 0;
  int64_t lateness_ms = 0;   // between the due time and the first process
  int64_t duration_ms = -1;  // negative: not known
  uint64_t output_bytes = 0;
  std::string remark;  // for people; may be empty
};

// "schedule=nightly job=backup run=17 outcome=failed status=3 ...". Values that are not plain words are quoted, so that
// no value can imitate a field or begin a line.
std::string outcome_line(const OutcomeReport &report);

// Sends it to the journal with its fields if there is a journal, and to the system log unless that is the journal.
// Failures are ignored, as there is nowhere to report them.
void report_outcome(const OutcomeReport &report);

// The journal's socket, instead of the usual one.
void set_journal_socket(std::string path);

}  // namespace service
