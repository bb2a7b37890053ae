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
    if (const std::optional<HistoryPage> page = HistoryPage::read(entry, number - 1); page && !visit(*page, number - 1))
      return;
}

// The highest run number in the pages before this one; if these were removed, an upper bound for it. By that bound a
// complete run may be left out of the history, but drop_old_pages does not count it among the runs that are kept
// either.
uint64_t last_run_before(const sch_schedule_entry &entry, uint32_t number, const HistoryPage &page) {
  if (number == 0) return 0;
  if (const std::optional<HistoryPage> before = HistoryPage::read(entry, number - 1)) return before->last_run();
  std::vector<uint64_t> highest;
  for (const Outcome &outcome : page.outcomes())
    if (highest.empty() || outcome.run > highest.back()) highest.push_back(outcome.run);
  return page.new_runs() == 0 ? page.last_run() : highest.at(highest.size() - page.new_runs()) - 1;
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

// A run whose number is not above all those in the removed pages may have lost outcomes with them, so it is left out.
// As runs of one schedule never overlap this can only be the oldest one.
std::vector<HistoryRun> read_history(const sch_schedule_entry &entry, size_t limit) {
  std::map<uint64_t, std::vector<Outcome>> runs;
  uint64_t perhaps_cut = 0;
  for_each_page(entry, [&](const HistoryPage &page, uint32_t number) {
    for (Outcome &outcome : page.outcomes())
      runs[outcome.run].push_back(std::move(outcome));
    perhaps_cut = last_run_before(entry, number, page);
    return runs.size() <= limit;
  });
  runs.erase(runs.begin(), runs.upper_bound(perhaps_cut));
  std::vector<HistoryRun> newest_first;
  for (auto run = runs.rbegin(); run != runs.rend() && newest_first.size() < limit; ++run) {
    std::ranges::sort(run->second, {}, &Outcome::sequence);
    newest_first.push_back({run->first, std::move(run->second)});
  }
  return newest_first;
}

std::optional<HistoryRun> find_in_history(const sch_schedule_entry &entry, uint64_t run) {
  HistoryRun found = {run, {}};
  for_each_page(entry, [&](const HistoryPage &page, uint32_t) {
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
  for_each_page(entry, [&](const HistoryPage &page, uint32_t) {
    newest = page.last_run();
    return false;
  });
  return newest;
}

void walk_outcomes_after(uint64_t sequence, const VisitOutcome &visit) {
  if (read_run_counters().outcomes <= sequence) return;
  std::vector<Found> found;
  for_each_schedule([&](const sch_schedule_entry &entry) {
    for_each_page(entry, [&](const HistoryPage &page, uint32_t) {
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
