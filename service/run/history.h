// SPDX-License-Identifier: Apache-2.0
// The history of each schedule's last runs. It is only on disk, in pss_running_db; it is written in the transaction
// that stores the run's state (run_batch.h), and deleted with its schedule.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "schedcli.h"
#include "service/run/outcome.h"

namespace service {

// Runs that are kept of each schedule: at least this many, and at most one page's runs more.
inline constexpr size_t history_runs = 64;

// One run with its outcomes, oldest first. A run under way has the outcomes of the jobs that have ended; without any it
// is not in the history yet.
struct HistoryRun {
  uint64_t number = 0;
  std::vector<Outcome> outcomes;  // never empty
};

// Newest first, by the number of the run; at most `limit` runs.
std::vector<HistoryRun> read_history(const sch_schedule_entry &entry, size_t limit = history_runs);
std::optional<HistoryRun> find_in_history(const sch_schedule_entry &entry, uint64_t run);
uint64_t newest_run(const sch_schedule_entry &entry);  // its number, read from the newest page alone; 0: none

// Visits the outcomes of all schedules whose sequence number is above `sequence`, in ascending order: those that a log
// that ends there lacks. Deleted schedules have no history any more.
using VisitOutcome = std::function<void(const sch_schedule_entry &entry, const Outcome &outcome)>;
void walk_outcomes_after(uint64_t sequence, const VisitOutcome &visit);

}  // namespace service
