// SPDX-License-Identifier: Apache-2.0
#include "service/metrics/metrics.h"

#include "control/json.h"
#include "service/metrics/exposition.h"
#include "service/metrics/tally.h"
#include "service/request/answer.h"
#include "service/request/shown.h"
#include "service/request/status.h"
#include "service/run/runner.h"
#include "service/state/run_state.h"
#include "service/state/tables.h"

namespace service {
namespace {

uint64_t unsigned_of(time_t moment) {
  return static_cast<uint64_t>(moment);
}

void add_service(Exposition *text, bool active, time_t started) {
  text->gauges("schedcli_build_info", "The service's version.");
  text->sample(1, {{"version", SCHEDCLI_VERSION}});
  text->gauges("schedcli_active", "1 where the service runs schedules, 0 in standby.");
  text->sample(active ? 1 : 0);
  text->gauges("schedcli_start_time_seconds", "When the service was started: its counters began at 0 then.");
  text->sample(unsigned_of(started));
}

void add_gauge(Exposition *text, std::string_view name, std::string_view help, const std::optional<uint64_t> &value) {
  if (!value) return;
  text->gauges(name, help);
  text->sample(*value);
}

void add_whole(Exposition *text, const WholeStatus &whole) {
  add_gauge(text, "schedcli_schedules", "Schedules that are configured.", whole.schedules);
  add_gauge(text, "schedcli_runs_under_way", "Runs that have begun and not ended.", whole.runs);
  add_gauge(text, "schedcli_runs_waiting", "Runs that wait for their owner's turn.", whole.waiting);
  add_gauge(text, "schedcli_mail_queue_messages", "Messages that wait for the mail server.", whole.mail);
  add_gauge(text, "schedcli_log_size_bytes", "Size of the job log's circular file.", whole.log_size);
  text->gauges("schedcli_store_size_bytes", "Size of a store's file.");
  for (const StoreSize &store : whole.stores)
    if (store.size) text->sample(*store.size, {{"store", store.name}});
}

using Figure = size_t Share::*;

void add_shares(Exposition *text, const std::vector<UserShare> &shares) {
  struct Row {
    const char *name, *help;
    Figure figure;
  };
  constexpr Row rows[] = {{"schedcli_user_schedules", "Schedules of a user.", &Share::schedules},
                          {"schedcli_user_jobs", "Jobs of a user.", &Share::jobs},
                          {"schedcli_user_runs_under_way", "Runs of a user that have begun.", &Share::runs},
                          {"schedcli_user_runs_waiting", "Runs of a user that wait.", &Share::waiting}};
  for (const Row &row : rows) {
    text->gauges(row.name, row.help);
    for (const UserShare &share : shares)
      text->sample(share.share.*row.figure, {{"user", control::json_text(share.user)}});
  }
}

void add_schedules(Exposition *text, Tally *tally) {
  text->gauges("schedcli_schedule_next_due_timestamp_seconds", "When an enabled schedule is due next.");
  for_each_schedule([&](const sch_schedule_entry &entry) {
    const uint32_t due = is_enabled(*entry.rec) ? state_of(*entry.rec).next_due : 0;
    if (due != 0) text->sample(due, {{"schedule", name_of(*entry.key)}});
  });
  if (tally == nullptr) return;
  text->gauges("schedcli_schedule_last_outcome", "How a schedule's last run ended: 1 beside its outcome.");
  for_each_schedule([&](const sch_schedule_entry &entry) {
    const LastRun last = tally->last_run(entry);
    if (!last.outcome.empty()) text->sample(1, {{"schedule", name_of(*entry.key)}, {"outcome", last.outcome}});
  });
  text->gauges("schedcli_schedule_last_end_timestamp_seconds", "When a schedule's last run ended.");
  for_each_schedule([&](const sch_schedule_entry &entry) {
    const LastRun last = tally->last_run(entry);
    if (!last.outcome.empty()) text->sample(static_cast<uint64_t>(last.end), {{"schedule", name_of(*entry.key)}});
  });
}

void add_counted(Exposition *text, const Tally &tally) {
  text->counters("schedcli_outcomes_total",
                 "Outcomes since the service was started, by what became of the job or run.");
  for (const auto &[word, count] : tally.outcomes())
    text->sample(count, {{"outcome", word}});
  text->histogram("schedcli_job_duration_seconds", "How long jobs ran, since the service was started.",
                  tally.durations());
  text->histogram("schedcli_run_lateness_seconds",
                  "For each job of a due run, how late the run began, since the service was started.",
                  tally.latenesses());
}

// Whatever is counted is counted from the service's start on, but for the outcomes that were stored ever.
std::string text_of(const Call &call) {
  Exposition text;
  const ServiceStatus status = status_of(call);
  add_service(&text, true, status.started);
  add_gauge(&text, "schedcli_enabled", "1 where the scheduler feature is enabled.", status.enabled ? 1 : 0);
  text.counters("schedcli_stored_outcomes_total", "Outcomes that were ever stored; a restart does not change it.");
  text.sample(read_run_counters().outcomes);
  if (status.whole) add_whole(&text, *status.whole);
  add_shares(&text, status.shares);
  Tally *tally = call.context.tally;
  add_schedules(&text, tally);
  if (tally == nullptr) return text.text();
  tally->forget_deleted();
  add_counted(&text, *tally);
  return text.text();
}

}  // namespace

host::Answer show_metrics(const Call &call, Payload) {
  return with_text(text_of(call));
}

host::Answer show_standby_metrics(time_t started) {
  Exposition text;
  add_service(&text, false, started);
  return with_text(text.text());
}

}  // namespace service
