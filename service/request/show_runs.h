// SPDX-License-Identifier: Apache-2.0
// Finds runs, those under way and those in the history.
#pragma once

#include <string>
#include <vector>

#include "control/operations.h"
#include "host/result.h"
#include "service/request/context.h"
#include "service/request/run_summary.h"

namespace service {

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
