// SPDX-License-Identifier: Apache-2.0
#include "service/request/gone_outcomes.h"

#include <algorithm>
#include <utility>

#include "service/run/history.h"
#include "service/run/run_record.h"
#include "service/state/schedule_state.h"
#include "service/state/tables.h"

namespace service {
namespace {

using Key = GoneOutcomes::Key;

LogRecord as_record(const sch_schedule_entry &entry, const Outcome &outcome) {
  RunStep step(entry);
  step.outcome = outcome;
  LogRecord record = log_record(step);
  if (!record.remark.empty()) record.output = "[" + std::exchange(record.remark, "") + "]\n";
  return record;
}

// The schedule was deleted, or the run dropped from the history, while the log was being read.
LogRecord forgotten() {
  LogRecord record;
  record.job = record.schedule = record.user = no_job;
  record.output = "[this outcome was forgotten while the log was shown]\n";
  return record;
}

LogRecord fetch(const Key &key) {
  const sch_schedule_entry *entry = schedule_by_serial(static_cast<uintptr_t>(key.schedule));
  if (entry == nullptr) return forgotten();
  const std::optional<HistoryRun> run = find_in_history(*entry, key.run);
  if (!run) return forgotten();
  const auto found = std::ranges::find(run->outcomes, key.sequence, &Outcome::sequence);
  return found == run->outcomes.end() ? forgotten() : as_record(*entry, *found);
}

bool is_meant(const sch_schedule_entry &entry, const Outcome &outcome, const LogFilter &filter) {
  const std::string &job = outcome.job.empty() ? no_job : outcome.job;
  return filter.wants(owner_of(entry), name_of(*entry.key), job) &&
         filter.wants(outcome.sequence, outcome.end_ms / 1000, outcome.wait_status != 0);
}

void collect(const JobLog &log, const sch_schedule_entry &entry, const LogFilter &filter, std::vector<Key> *keys) {
  for (const HistoryRun &run : read_history(entry))
    for (const Outcome &outcome : run.outcomes)
      if (outcome.sequence > log.shown_after() && log.lacks(outcome.sequence) && is_meant(entry, outcome, filter))
        keys->push_back({outcome.sequence, run.number, serial(entry)});
}

}  // namespace

GoneOutcomes gone_outcomes(const JobLog &log, const LogFilter &filter) {
  GoneOutcomes gone;
  gone.fetch = fetch;
  if (!log.lacks_some()) return gone;
  const auto next = [&](int64_t number) {
    return filter.owner_tag ? schedule_after(number, *filter.owner_tag) : schedule_after(number);
  };
  for (const sch_schedule_entry *entry = next(-1); entry != nullptr; entry = next(schedule_number(*entry->rec)))
    collect(log, *entry, filter, &gone.keys);
  std::ranges::sort(gone.keys, {}, &Key::sequence);
  if (gone.keys.size() > gone_limit)
    gone.keys.erase(gone.keys.begin(), gone.keys.end() - static_cast<std::ptrdiff_t>(gone_limit));
  return gone;
}

}  // namespace service
