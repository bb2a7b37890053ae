// SPDX-License-Identifier: Apache-2.0
#include "service/request/show_runs.h"

#include <algorithm>
#include <limits>
#include <set>

#include "control/operations.h"
#include "host/errors.h"
#include "host/status.h"
#include "host/text_field.h"
#include "service/request/answer.h"
#include "service/request/ownership.h"
#include "service/request/payload.h"
#include "service/request/run_summary.h"
#include "service/request/show_run.h"
#include "service/request/shown.h"
#include "service/request/text_table.h"
#include "service/run/runner.h"
#include "service/state/tables.h"

namespace service {
namespace {

using Schedules = std::vector<const sch_schedule_entry *>;

constexpr uint32_t usual_lines = 20;

// Runs that a search for failures looks at: it may find none, and must not keep the service from its other work.
constexpr size_t search_limit = 20000;

// When it was due; for a run that an operator started, when it began.
int64_t moment_of(const RunSummary &run) {
  return run.due != 0 ? run.due : run.begin_ms / 1000;
}

class Newest {
 public:
  Newest(size_t count, const control::HistoryQuery &query)
      : count_(count), failed_only_(query.failed_only != 0), since_(query.since) {}

  bool has_no_room_for(uint64_t number) const { return runs_.size() >= count_ && runs_.back().number > number; }

  void add(RunSummary run) {
    if ((!failed_only_ || failed(run)) && moment_of(run) >= since_) runs_.push_back(std::move(run));
  }
  void settle() {
    std::ranges::sort(runs_, std::greater(), &RunSummary::number);
    if (runs_.size() > count_) runs_.resize(count_);
  }
  const std::vector<RunSummary> &runs() const { return runs_; }

 private:
  const size_t count_;
  const bool failed_only_;
  const int64_t since_;
  std::vector<RunSummary> runs_;  // after settle(): newest first
};

struct Candidate {
  uint64_t newest;
  const sch_schedule_entry *entry;
};

std::vector<Candidate> by_newest_run(const Schedules &schedules) {
  std::vector<Candidate> candidates;
  for (const sch_schedule_entry *entry : schedules)
    if (const uint64_t newest = newest_run(*entry); newest != 0) candidates.push_back({newest, entry});
  std::ranges::sort(candidates, std::greater(), &Candidate::newest);
  return candidates;
}

bool concerns(const Runner::UnderWay &run, const std::string &job) {
  const sch_schedule_entry *entry = schedule_by_serial(run.ticket.schedule);
  const sch_job_entry *slot = find_job(job);
  return entry != nullptr && slot != nullptr && slot->hdr != nullptr && has_job(*entry->rec, slot->hdr->job_id);
}

bool concerns(const HistoryRun &run, const std::string &job) {
  return std::ranges::any_of(run.outcomes, [&](const Outcome &outcome) { return outcome.job == job; });
}

// Adds the runs under way and returns their numbers: if one of their jobs has ended, they are in the history too.
std::set<uint64_t> add_under_way(const Call &call, const std::string &schedule, const std::string &job, Newest *found) {
  std::set<uint64_t> numbers;
  for (const Runner::UnderWay &run : call.context.runner.list()) {
    const bool wanted = schedule.empty() || run.schedule == schedule;
    if (!wanted || !call.context.authority.may_use(call.caller, run.owner_tag)) continue;
    numbers.insert(run.ticket.number);
    if (job.empty() || concerns(run, job)) found->add(summary_of(run));
  }
  found->settle();
  return numbers;
}

// False: the search limit was reached before all was read.
bool add_ended(const Schedules &schedules, const control::HistoryQuery &query, size_t count,
               const std::set<uint64_t> &under_way, Newest *found) {
  size_t searched = 0;
  const std::string job(host::text_in(query.job));
  const bool narrows = query.failed_only != 0 || query.since != 0 || !job.empty();
  for (const Candidate &candidate : by_newest_run(schedules)) {
    if (found->has_no_room_for(candidate.newest)) return true;
    if (searched >= search_limit) return false;
    const size_t limit = narrows ? std::numeric_limits<size_t>::max() : count;
    for (const HistoryRun &run : read_history(*candidate.entry, limit)) {
      searched++;
      if (!under_way.contains(run.number) && (job.empty() || concerns(run, job)))
        found->add(summary_of(*candidate.entry, run));
    }
    found->settle();
  }
  return true;
}

std::string lines_of(const FoundRuns &found) {
  TextTable table({"run", "schedule", "due", "start", "duration", "outcome", "jobs failed"});
  for (const RunSummary &run : found.runs)
    table.add({std::to_string(run.number), run.schedule, due_cell(run), start_cell(run), duration_cell(run),
               outcome_cell(run), failed_cell(run)});
  return table.empty() ? "" : table.text();
}

FoundRuns newest_runs(const Call &call, const HistoryAsked &asked, const Schedules &schedules) {
  const control::HistoryQuery &query = asked.query;
  const size_t count = query.count == 0 ? usual_lines : query.count;
  Newest found(count, query);
  const std::set<uint64_t> under_way =
      add_under_way(call, asked.schedule, std::string(host::text_in(query.job)), &found);
  const bool complete = add_ended(schedules, query, count, under_way, &found);
  return {found.runs(), complete};
}

bool is_sound(const control::HistoryQuery &query) {
  return query.count <= control::query_lines_limit && query.failed_only <= 1;
}

}  // namespace

host::Result<HistoryAsked> history_asked(Payload payload) {
  if (payload.size() < sizeof(control::HistoryQuery)) return host::error_of(host::err_bad_request);
  const auto query = record_of<control::HistoryQuery>(payload);
  if (!is_sound(query)) return host::error_of(host::err_bad_value);
  return HistoryAsked{query, std::string(text_of(payload.subspan(sizeof query)))};
}

host::Result<FoundRuns> find_runs(const Call &call, const HistoryAsked &asked) {
  if (asked.schedule.empty()) return newest_runs(call, asked, own_schedules(call));
  sch_schedule_entry *entry = nullptr;
  if (const uint32_t status = find_own_schedule(call, asked.schedule, &entry); status != 0)
    return host::error_of(status);
  return newest_runs(call, asked, {entry});
}

host::Answer show_history(const Call &call, Payload payload) {
  const host::Result<HistoryAsked> asked = history_asked(payload);
  if (!asked) return with_status(asked.code());
  if (asked->query.run != 0) return show_run(call, asked->query.run);
  const host::Result<FoundRuns> found = find_runs(call, *asked);
  if (!found) return with_status(found.code());
  return with_text(lines_of(*found) + (found->complete ? "" : "(older runs were not searched; name the schedule)\n"));
}

}  // namespace service
