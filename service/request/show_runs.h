// SPDX-License-Identifier: Apache-2.0
// Shows runs, those under way and those in the history.
#pragma once

#include <string>
#include <vector>

#include "control/operations.h"
#include "host/result.h"
#include "service/request/context.h"
#include "service/request/run_summary.h"

namespace service {

// Newest first, a line each; or one run with its jobs.
host::Answer show_history(const Call &call, Payload payload);

struct HistoryAsked {
  control::HistoryQuery query;
  std::string schedule;  // empty: all
};
host::Result<HistoryAsked> history_asked(Payload payload);

struct FoundRuns {
  std::vector<RunSummary> runs;  // newest first
  bool complete = true;          // false: older runs were not searched
};
host::Result<FoundRuns> find_runs(const Call &call, const HistoryAsked &asked);

}  // namespace service
