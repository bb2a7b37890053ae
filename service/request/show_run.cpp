// SPDX-License-Identifier: Apache-2.0
#include "service/request/show_run.h"

#include <algorithm>
#include <optional>

#include "control/statuses.h"
#include "host/text_field.h"
#include "host/visible.h"
#include "service/request/answer.h"
#include "service/request/ownership.h"
#include "service/request/run_summary.h"
#include "service/request/shown_time.h"
#include "service/request/text_table.h"
#include "service/run/runner.h"
#include "service/state/tables.h"

namespace service {
namespace {

std::optional<FoundRun> find_under_way(const Call &call, uint64_t number) {
  for (const Runner::UnderWay &run : call.context.runner.list()) {
    if (run.ticket.number != number || !call.context.authority.may_use(call.caller, run.owner_tag)) continue;
    const sch_schedule_entry *entry = schedule_by_serial(run.ticket.schedule);
    if (entry == nullptr) continue;
    std::optional<HistoryRun> ended = find_in_history(*entry, number);
    return FoundRun{entry, summary_of(run), ended ? std::move(ended->outcomes) : std::vector<Outcome>(), run.job};
  }
  return std::nullopt;
}

std::optional<FoundRun> find_ended(const Call &call, uint64_t number) {
  for (const sch_schedule_entry *entry : own_schedules(call)) {
    if (newest_run(*entry) < number) continue;
    if (std::optional<HistoryRun> run = find_in_history(*entry, number))
      return FoundRun{entry, summary_of(*entry, *run), std::move(run->outcomes), ""};
  }
  return std::nullopt;
}

// For a cell of a table: no newlines, and safe for a terminal.
std::string in_one_line(const std::string &text) {
  std::string line = host::visible(text);
  std::ranges::replace_if(
      line, [](char letter) { return letter == '\n' || letter == '\t'; }, ' ');
  return line;
}

std::string remark_of(const Outcome &outcome) {
  std::string remark = in_one_line(outcome.remark);
  if (outcome.killed == 0) return remark;
  if (!remark.empty()) remark += "; ";
  return remark + std::to_string(outcome.killed) + " processes left over were ended";
}

TextTable::Row row_of(const Outcome &outcome) {
  const bool began = outcome.begin_ms != 0;
  return {outcome.job.empty() ? "-" : outcome.job,
          word_for(outcome),
          std::to_string(outcome.wait_status >> 8 & 0xff),
          began ? shown_moment(static_cast<time_t>(outcome.begin_ms / 1000)) : "-",
          began ? shown_duration(outcome.end_ms - outcome.begin_ms) : "-",
          std::to_string(outcome.output_bytes) + " bytes",
          remark_of(outcome)};
}

std::string head_of(const FoundRun &found) {
  const RunSummary &run = found.summary;
  const ScheduleState state = state_of(*found.entry->rec);
  std::string text;
  const auto add = [&](const char *key, const std::string &value) { text += std::string(key) + ": " + value + "\n"; };
  add("run", std::to_string(run.number));
  add("schedule", run.schedule);
  add("owner", in_one_line(std::string(host::text_in(state.owner))));
  add("due", due_cell(run));
  add("start", start_cell(run));
  add("duration", duration_cell(run));
  add("outcome", outcome_cell(run));
  if (!found.job.empty()) add("job under way", found.job);
  return text;
}

std::string description_of(const FoundRun &found) {
  TextTable table({"job", "outcome", "code", "start", "duration", "output", "remark"});
  for (const Outcome &outcome : found.outcomes)
    table.add(row_of(outcome));
  return head_of(found) + (table.empty() ? "" : table.text());
}

}  // namespace

std::optional<FoundRun> find_run(const Call &call, uint64_t number) {
  std::optional<FoundRun> found = find_under_way(call, number);
  return found ? found : find_ended(call, number);
}

host::Answer show_run(const Call &call, uint64_t number) {
  const std::optional<FoundRun> found = find_run(call, number);
  if (!found) return with_status(control::err_no_history_of_run);
  return with_text(description_of(*found));
}

}  // namespace service
