// SPDX-License-Identifier: Apache-2.0
// Each outcome is a line of the system log, for whoever watches over many machines.
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

// "schedule=nightly job=backup run=17 outcome=failed status=3 ...": a value that is not a plain word is quoted, and no
// value can imitate a field or begin a line.
std::string outcome_line(const OutcomeReport &report);

// To the journal natively where there is one, and to the system log, unless that is the journal too. What fails is not
// reported: there is nobody left to report it to.
void report_outcome(const OutcomeReport &report);

// Where the journal takes datagrams, instead of the usual place.
void set_journal_socket(std::string path);

}  // namespace service
