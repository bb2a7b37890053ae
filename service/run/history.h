// SPDX-License-Identifier: Apache-2.0
// What became of each schedule's last runs: on disk, in pss_running_db, and nowhere in memory. It is written in the
// transaction that stores the run's state (run_batch.h) and goes with its schedule.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "schedcli.h"
#include "service/run/outcome.h"

namespace service {

// Runs that are kept of each schedule: at least this many, and up to one record's worth more.
inline constexpr size_t history_runs = 64;

// One run with its outcomes, oldest first. A run under way has those of the jobs that have ended; a run that had no
// outcome yet is not in the history.
struct HistoryRun {
  uint64_t number = 0;
  std::vector<Outcome> outcomes;  // never empty
};

// Newest first, by the number of the run; at most `limit` runs.
std::vector<HistoryRun> read_history(const sch_schedule_entry &entry, size_t limit = history_runs);
std::optional<HistoryRun> find_in_history(const sch_schedule_entry &entry, uint64_t run);
uint64_t newest_run(const sch_schedule_entry &entry);  // its number, from the newest page alone; 0: none

// Every kept outcome of any schedule whose sequence number is above `sequence`, in ascending order of that: what a log
// that ends there lacks. Outcomes of schedules that are deleted are gone.
using VisitOutcome = std::function<void(const sch_schedule_entry &entry, const Outcome &outcome)>;
void walk_outcomes_after(uint64_t sequence, const VisitOutcome &visit);

}  // namespace service
