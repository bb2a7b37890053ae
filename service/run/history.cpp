// SPDX-License-Identifier: Apache-2.0
#include "service/run/history.h"

#include <algorithm>
#include <map>
#include <utility>

#include "service/run/history_page.h"
#include "service/state/run_state.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

// Outcomes that a walk returns at most: more than the largest log holds, and they fit in memory.
constexpr size_t walk_limit = 50000;

// Newest page first, until `visit` returns false.
template <typename Visit>
void for_each_page(const sch_schedule_entry &entry, Visit visit) {
  const std::optional<RunState> state = read_run_state(entry);
  if (!state) return;
  for (uint32_t number = state->end_page; number != state->first_page; number--)
    if (const std::optional<HistoryPage> page = HistoryPage::read(entry, number - 1); page && !visit(*page)) return;
}

// If the page before the oldest one was removed, the oldest run may have lost outcomes with it: it is left out. As runs
// of one schedule never overlap, this can be only one run.
void leave_out_remainder(const HistoryPage &oldest, std::map<uint64_t, std::vector<Outcome>> *runs) {
  const std::vector<Outcome> outcomes = oldest.outcomes();
  uint64_t last = 0;
  uint32_t begun = 0;
  for (const Outcome &outcome : outcomes) {
    begun += outcome.run > last ? 1 : 0;
    last = std::max(last, outcome.run);
  }
  if (begun > oldest.new_runs()) runs->erase(outcomes.front().run);
}

using Found = std::pair<const sch_schedule_entry *, Outcome>;

bool later(const Found &left, const Found &right) {
  return left.second.sequence > right.second.sequence;
}

// Keeps only the newest ones: `found` is a heap with the oldest on top.
void keep_newest(std::vector<Found> *found, Found another) {
  found->push_back(std::move(another));
  std::push_heap(found->begin(), found->end(), later);
  if (found->size() <= walk_limit) return;
  std::pop_heap(found->begin(), found->end(), later);
  found->pop_back();
}

}  // namespace

// Runs of one schedule never overlap, so the first outcome of an older run means that a newer one is complete.
std::vector<HistoryRun> read_history(const sch_schedule_entry &entry, size_t limit) {
  std::map<uint64_t, std::vector<Outcome>> runs;
  std::optional<HistoryPage> oldest;
  for_each_page(entry, [&](const HistoryPage &page) {
    for (Outcome &outcome : page.outcomes())
      runs[outcome.run].push_back(std::move(outcome));
    oldest = page;
    return runs.size() <= limit;
  });
  if (oldest) leave_out_remainder(*oldest, &runs);
  std::vector<HistoryRun> newest_first;
  for (auto run = runs.rbegin(); run != runs.rend() && newest_first.size() < limit; ++run) {
    std::ranges::sort(run->second, {}, &Outcome::sequence);
    newest_first.push_back({run->first, std::move(run->second)});
  }
  return newest_first;
}

std::optional<HistoryRun> find_in_history(const sch_schedule_entry &entry, uint64_t run) {
  HistoryRun found = {run, {}};
  for_each_page(entry, [&](const HistoryPage &page) {
    if (page.first_run() <= run)
      for (Outcome &outcome : page.outcomes())
        if (outcome.run == run) found.outcomes.push_back(std::move(outcome));
    return page.last_run() >= run;
  });
  if (found.outcomes.empty()) return std::nullopt;
  std::ranges::sort(found.outcomes, {}, &Outcome::sequence);
  return found;
}

uint64_t newest_run(const sch_schedule_entry &entry) {
  uint64_t newest = 0;
  for_each_page(entry, [&](const HistoryPage &page) {
    newest = page.last_run();
    return false;
  });
  return newest;
}

void walk_outcomes_after(uint64_t sequence, const VisitOutcome &visit) {
  if (read_run_counters().outcomes <= sequence) return;
  std::vector<Found> found;
  for_each_schedule([&](const sch_schedule_entry &entry) {
    for_each_page(entry, [&](const HistoryPage &page) {
      if (page.last_sequence() <= sequence) return false;
      for (Outcome &outcome : page.outcomes())
        if (outcome.sequence > sequence) keep_newest(&found, {&entry, std::move(outcome)});
      return true;
    });
  });
  std::sort_heap(found.begin(), found.end(), later);
  std::reverse(found.begin(), found.end());
  for (const auto &[entry, outcome] : found)
    visit(*entry, outcome);
}

}  // namespace service
