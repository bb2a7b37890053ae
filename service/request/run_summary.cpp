// SPDX-License-Identifier: Apache-2.0
#include "service/request/run_summary.h"

#include <algorithm>

#include "host/visible.h"
#include "service/request/shown_time.h"
#include "service/state/tables.h"

namespace service {
namespace {

constexpr char none[] = "-";

// The outcome that describes the run: the last one that the service has decided (killed, timed out, ...), otherwise the
// first failed job's, otherwise the last one.
const Outcome &decisive(const std::vector<Outcome> &outcomes) {
  const auto decided = std::ranges::find_if(outcomes.rbegin(), outcomes.rend(),
                                            [](const Outcome &outcome) { return outcome.reason != Reason::ended; });
  if (decided != outcomes.rend()) return *decided;
  const auto failure = std::ranges::find_if(outcomes, [](const Outcome &outcome) { return outcome.wait_status != 0; });
  return failure != outcomes.end() ? *failure : outcomes.back();
}

void add(RunSummary *summary, const Outcome &outcome) {
  if (outcome.begin_ms != 0 && (summary->begin_ms == 0 || outcome.begin_ms < summary->begin_ms))
    summary->begin_ms = outcome.begin_ms;
  if (outcome.reason == Reason::interrupted) summary->interrupted = true;
  summary->end_ms = std::max(summary->end_ms, outcome.end_ms);
  summary->missed += outcome.missed_count;
  if (outcome.job.empty()) return;
  summary->jobs++;
  if (outcome.wait_status != 0) summary->failed++;
}

time_t seconds(int64_t milliseconds) {
  return static_cast<time_t>(milliseconds / 1000);
}

}  // namespace

std::string word_for(const Outcome &outcome) {
  if (outcome.reason != Reason::ended) return word_for(outcome.reason);
  return outcome.wait_status == 0 ? "success" : "failed";
}

RunSummary summary_of(const sch_schedule_entry &entry, const HistoryRun &run) {
  const Outcome &any = run.outcomes.front();
  RunSummary summary;
  summary.number = run.number;
  summary.schedule = name_of(*entry.key);
  summary.due = any.due;
  summary.asked_by = any.asked_by;
  summary.outcome = word_for(decisive(run.outcomes));
  for (const Outcome &outcome : run.outcomes)
    add(&summary, outcome);
  // Which job had begun is not known then, but when the run was begun is.
  if (summary.interrupted && summary.begin_ms == 0) summary.begin_ms = any.run_begin_ms;
  return summary;
}

RunSummary summary_of(const Runner::UnderWay &run) {
  RunSummary summary;
  summary.number = run.ticket.number;
  summary.schedule = run.schedule;
  summary.due = run.ticket.due;
  summary.asked_by = run.ticket.asked_by;
  summary.outcome = run.waits ? "waiting" : "running";
  const sch_schedule_entry *entry = schedule_by_serial(run.ticket.schedule);
  if (entry != nullptr && !run.waits) summary.begin_ms = int64_t{state_of(*entry->rec).last_execution} * 1000;
  return summary;
}

bool failed(const RunSummary &run) {
  return run.end_ms != 0 && run.outcome != "success";
}

std::string due_cell(const RunSummary &run) {
  return run.due != 0 ? shown_moment(run.due) : "asked by " + host::visible(run.asked_by);
}

std::string start_cell(const RunSummary &run) {
  return run.begin_ms != 0 ? shown_moment(seconds(run.begin_ms)) : none;
}

bool has_duration(const RunSummary &run) {
  return run.begin_ms != 0 && run.end_ms != 0 && !run.interrupted;
}

std::string duration_cell(const RunSummary &run) {
  return has_duration(run) ? shown_duration(run.end_ms - run.begin_ms) : none;
}

std::string outcome_cell(const RunSummary &run) {
  return run.missed > 1 ? run.outcome + " " + std::to_string(run.missed) + " times" : run.outcome;
}

std::string failed_cell(const RunSummary &run) {
  return run.jobs == 0 ? none : std::to_string(run.failed) + " of " + std::to_string(run.jobs);
}

}  // namespace service
