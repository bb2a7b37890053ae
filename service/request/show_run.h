// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "service/request/context.h"
#include "service/request/run_summary.h"
#include "service/run/outcome.h"

namespace service {

struct FoundRun {
  const sch_schedule_entry *entry;
  RunSummary summary;
  std::vector<Outcome> outcomes;  // of a run under way those of the jobs that have ended
  std::string job;                // under way
};
std::optional<FoundRun> find_run(const Call &call, uint64_t number);

// One run with its jobs, of a schedule that the caller may see.
host::Answer show_run(const Call &call, uint64_t number);

}  // namespace service
