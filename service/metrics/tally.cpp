// SPDX-License-Identifier: Apache-2.0
#include "service/metrics/tally.h"

#include <array>

#include "service/request/run_summary.h"
#include "service/state/schedule_state.h"
#include "service/state/tables.h"

namespace service {
namespace {

constexpr int64_t second = 1000, minute = 60 * second;
// Of jobs, up to the usual time limit; of lateness, up to where a due time counts as missed.
constexpr std::array<int64_t, 8> duration_bounds = {100,        second,      10 * second, minute,
                                                    5 * minute, 15 * minute, 30 * minute, 60 * minute};
constexpr std::array<int64_t, 7> lateness_bounds = {10, 100, 500, second, 5 * second, 15 * second, minute};

}  // namespace

Tally::Tally() : durations_(duration_bounds), latenesses_(lateness_bounds) {
  for (const char *word : {"success", "failed"})
    outcomes_[word] = 0;
  for (auto reason = static_cast<uint8_t>(Reason::no_jobs); reason <= static_cast<uint8_t>(Reason::killed); reason++)
    outcomes_[word_for(static_cast<Reason>(reason))] = 0;
}

void Tally::take(const RunStep &step) {
  if (step.ends_run || step.outcome.job.empty()) last_runs_.erase(step.schedule);
  if (!step.has_outcome) return;
  const Outcome &outcome = step.outcome;
  outcomes_[word_for(outcome)]++;
  if (outcome.begin_ms == 0) return;
  durations_.add(outcome.end_ms - outcome.begin_ms);
  if (outcome.due != 0) latenesses_.add(outcome.run_begin_ms - int64_t{outcome.due} * second);
}

LastRun Tally::last_run(const sch_schedule_entry &entry) {
  const auto [found, is_new] = last_runs_.try_emplace(serial(entry));
  if (!is_new) return found->second;
  const std::vector<HistoryRun> newest = read_history(entry, 1);
  if (!newest.empty()) {
    const RunSummary run = summary_of(entry, newest.front());
    found->second = {run.outcome, run.end_ms / second};
  }
  return found->second;
}

void Tally::forget_deleted() {
  std::erase_if(last_runs_, [](const auto &known) { return schedule_by_serial(known.first) == nullptr; });
}

}  // namespace service
