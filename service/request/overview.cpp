// SPDX-License-Identifier: Apache-2.0
#include "service/request/overview.h"

#include <cstdio>
#include <ctime>
#include <map>

#include "service/clock.h"
#include "service/request/answer.h"
#include "service/request/ownership.h"
#include "service/request/payload.h"
#include "service/request/run_summary.h"
#include "service/request/shown.h"
#include "service/request/shown_time.h"
#include "service/request/text_table.h"
#include "service/run/history.h"
#include "service/run/runner.h"
#include "service/state/tables.h"

namespace service {
namespace {

using UnderWay = std::map<std::string, RunSummary>;  // by schedule

constexpr const char *weekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

std::string clock_of(const sch_tminfo &time) {
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d", time.hour, time.minute);
  return text;
}

std::string weekly(const sch_tminfo &time) {
  const bool known = time.day_of_week >= 1 && time.day_of_week <= 7;
  return std::string("weekly ") + (known ? weekdays[time.day_of_week - 1] : "?") + " " + clock_of(time);
}

std::string period(const sch_tminfo &time) {
  char text[64];
  std::snprintf(text, sizeof text, "every %dd %02dh %02dm", time.day_of_week, time.hour, time.minute);
  return text;
}

UnderWay runs_under_way(const Call &call) {
  UnderWay runs;
  for (const Runner::UnderWay &run : call.context.runner.list())
    runs.emplace(run.schedule, summary_of(run));
  return runs;
}

std::string last_cell(const sch_schedule_entry &entry, const UnderWay &under_way) {
  if (const auto run = under_way.find(name_of(*entry.key)); run != under_way.end()) return run->second.outcome;
  const std::vector<HistoryRun> newest = read_history(entry, 1);
  return newest.empty() ? "-" : outcome_cell(summary_of(entry, newest.front()));
}

TextTable::Row row_of(const sch_schedule_entry &entry, const UnderWay &under_way, time_t now) {
  const uint32_t due = next_due(entry);
  const bool is_due = due != 0 && is_enabled(*entry.rec);
  return {
      name_of(*entry.key),         is_due ? shown_moment(due) : "-",      is_due ? shown_wait(int64_t{due} - now) : "-",
      last_cell(entry, under_way), is_enabled(*entry.rec) ? "yes" : "no", how_often(entry.rec->time)};
}

// The next due time alone does not show how a relative start, or one that has passed, was understood.
std::string beginning_of(const sch_tminfo &time) {
  if (time.type == SCH_SCHEDULE_PERIODIC) return " from " + shown_moment(time.start_time);
  if (time.type != SCH_SCHEDULE_ONESHOT) return {};
  char text[64];
  std::snprintf(text, sizeof text, " on %d-%02d-%02d at %02d:%02d", time.year + 1900, time.month + 1, time.day_of_month,
                time.hour, time.minute);
  return text;
}

std::string next_due_of(const sch_schedule_entry &entry, time_t now) {
  if (entry.rec->time.type == SCH_SCHEDULE_NONE) return "never due";
  if (!is_enabled(*entry.rec)) return "disabled, so not due";
  const uint32_t due = next_due(entry);
  return due == 0 ? "not due any more" : "next due " + shown_moment(due) + ", in " + shown_wait(int64_t{due} - now);
}

}  // namespace

std::string how_often(const sch_tminfo &time) {
  switch (time.type) {
    case SCH_SCHEDULE_ONESHOT:
      return "once";
    case SCH_SCHEDULE_DAILY:
      return "daily " + clock_of(time);
    case SCH_SCHEDULE_WEEKLY:
      return weekly(time);
    case SCH_SCHEDULE_MONTHLY:
      return "monthly day " + std::to_string(time.day_of_month) + " " + clock_of(time);
    case SCH_SCHEDULE_PERIODIC:
      return period(time);
    default:
      return "no time";
  }
}

host::Answer show_overview(const Call &call, Payload) {
  const time_t now = wall_clock();
  const UnderWay under_way = runs_under_way(call);
  TextTable table({"schedule", "next due", "in", "last outcome", "enabled", "how often"});
  for (const sch_schedule_entry *entry : own_schedules(call))
    table.add(row_of(*entry, under_way, now));
  const std::string note = scheduler_enabled != 0 ? "" : "(the scheduler feature is disabled: nothing runs)\n";
  return with_text(table.empty() ? note : note + table.text());
}

host::Answer explain_time(const Call &call, Payload payload) {
  sch_schedule_entry *entry = nullptr;
  const std::string name(text_of(payload));
  if (const uint32_t status = find_own_schedule(call, name, &entry); status != 0) return with_status(status);
  return with_text(how_often(entry->rec->time) + beginning_of(entry->rec->time) + "; " +
                   next_due_of(*entry, wall_clock()) + "\n");
}

}  // namespace service
