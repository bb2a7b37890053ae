// SPDX-License-Identifier: Apache-2.0
// A run in one line of a table, from the history or from the runs under way.
#pragma once

#include <cstdint>
#include <string>

#include "service/run/history.h"
#include "service/run/runner.h"

namespace service {

struct RunSummary {
  uint64_t number = 0;
  std::string schedule;
  uint32_t due = 0;
  std::string asked_by;
  int64_t begin_ms = 0;  // of the first job, or of an interrupted run; 0: none began
  int64_t end_ms = 0;    // 0: it is under way
  std::string outcome;   // one word; for several jobs that of the decisive one
  size_t jobs = 0, failed = 0;
  uint32_t missed = 0;  // number of missed due times that it stands for
  bool interrupted = false;
};

std::string word_for(const Outcome &outcome);  // "success", "failed" or the reason's

RunSummary summary_of(const sch_schedule_entry &entry, const HistoryRun &run);
RunSummary summary_of(const Runner::UnderWay &run);

bool has_duration(const RunSummary &run);  // when an interrupted run ended is not known
bool failed(const RunSummary &run);        // it ended, and not with success

// Cells of the table, safe for a terminal.
std::string due_cell(const RunSummary &run);
std::string start_cell(const RunSummary &run);
std::string duration_cell(const RunSummary &run);
std::string outcome_cell(const RunSummary &run);
std::string failed_cell(const RunSummary &run);

}  // namespace service
