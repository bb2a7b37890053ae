// SPDX-License-Identifier: Apache-2.0
#include "service/run/scheduler.h"

#include <algorithm>
#include <new>

#include "control/statuses.h"
#include "host/guard.h"
#include "host/status.h"
#include "host/text_field.h"
#include "platform/errors.h"
#include "service/calendar/clock_step.h"
#include "service/clock.h"
#include "service/memory_reserve.h"
#include "service/run/due.h"
#include "service/run/history.h"
#include "service/run/run_record.h"
#include "service/state/change.h"
#include "service/state/tables.h"

namespace service {
namespace {

constexpr int64_t prepared_ahead_ms = 250;          // a process is made in a few; a busy machine needs longer
constexpr int64_t longest_wait_ms = 24 * 3600'000;  // of one timer

bool has_outcome(const std::optional<HistoryRun> &run, uint32_t job_id) {
  return run && std::ranges::any_of(run->outcomes, [&](const Outcome &outcome) { return outcome.job_id == job_id; });
}

// The jobs of the interrupted run that have no outcome. A state directory of an older version knows only one of them.
std::vector<uint32_t> jobs_without_outcome(const sch_schedule_entry &entry, const std::optional<RunState> &stored) {
  std::vector<uint32_t> ids;
  const auto add = [&](uint32_t id) {
    if (id < SCH_MAX_JOBS && sch_job_list[id].key != nullptr && sch_job_list[id].hdr != nullptr) ids.push_back(id);
  };
  if (!stored) {
    add(state_of(*entry.rec).running_job - 1);
    return ids;
  }
  const std::optional<HistoryRun> run = find_in_history(entry, stored->running);
  for_each_assigned(*entry.rec, [&](uint32_t id) {
    if (!has_outcome(run, id)) add(id);
  });
  return ids;
}

RunStep interrupted_step(const sch_schedule_entry &entry, const std::optional<RunState> &stored, int64_t now_ms) {
  RunStep step(entry);
  step.outcome.reason = Reason::interrupted;
  step.outcome.wait_status = exit_status(Reason::interrupted);
  step.outcome.end_ms = now_ms;
  step.outcome.remark =
      "interrupted: the service ended during the run that began at " + time_text(state_of(*entry.rec).running_since);
  if (!stored) return step;
  step.outcome.run = stored->running;
  step.outcome.due = stored->running_due;
  step.outcome.run_begin_ms = stored->running_since_ms;
  step.outcome.asked_by = host::text_in(stored->asked_by);
  return step;
}

LatePolicy late_policy(const Settings &settings) {
  return {settings.late_grace_s, settings.missed == MissedPolicy::run_once, settings.missed_window_s};
}

}  // namespace

Scheduler::Scheduler(Recorder &recorder, Runner &runner, const Settings &settings)
    : recorder_(recorder), runner_(runner), policy_(late_policy(settings)) {
  recorder_.on_recovery([this] { check(); });
}

void Scheduler::use(const Settings &settings) {
  policy_ = late_policy(settings);
}

host::Result<void> Scheduler::start() {
  host::Result<void> opened = alarm_.open([this](time_t step) { step == 0 ? check() : clock_set(step); });
  if (opened) check();
  return opened;
}

void Scheduler::check_soon() {
  if (!soon_.active()) check_after_ms(0);
}

void Scheduler::check_after_ms(unsigned milliseconds) {
  soon_ = host::Watch::after_ms(milliseconds, [this] {
    soon_.stop();
    check();
  });
}

// If memory runs out, the due times are not taken, and are looked for again a little later. While memory is short, what
// there is belongs to the runs under way.
void Scheduler::check() {
  if (memory_is_short()) return check_after_ms(retry_ms);
  const auto look = [this] {
    take_due();
    runner_.start_waiting();
    set_alarm();
  };
  host::guarded(look, [this] {
    sch_syslog_raise(&syslog_msg_SCH_ERR, "no memory to look for due schedules; it is tried again");
    check_after_ms(retry_ms);
  });
}

void Scheduler::take_due() {
  if (scheduler_enabled == 0 || recorder_.failing()) return;
  const int64_t now_ms = wall_clock_ms();
  const std::vector<sch_schedule_entry *> due = schedules_due(static_cast<time_t>(now_ms / 1000));
  if (due.empty()) return;
  Take take(policy_, now_ms);
  for (sch_schedule_entry *entry : due)
    take.take(*entry);
  if (take.store(recorder_)) take.begin(runner_);
}

// While commits fail no alarm is set, as the recorder calls back when they succeed again.
void Scheduler::set_alarm() {
  const uint32_t due = scheduler_enabled == 0 || recorder_.failing() ? 0 : earliest_due();
  alarm_.set(due);
  set_preparation(due);
}

void Scheduler::set_preparation(uint32_t due) {
  if (due == prepares_for_) return;
  prepares_for_ = due;
  preparation_.stop();
  if (due == 0) return;
  const int64_t wait = int64_t{due} * 1000 - prepared_ahead_ms - wall_clock_ms();
  const bool is_near = wait <= longest_wait_ms;
  preparation_ = host::Watch::after_ms(static_cast<unsigned>(is_near ? std::max<int64_t>(wait, 0) : longest_wait_ms),
                                       [this, is_near] { is_near ? prepare() : prepare_later(); });
}

// Nothing is taken and nothing stored yet; whatever changes until the due time, the run begins as it is then.
void Scheduler::prepare() {
  const auto first = [this] {
    const std::vector<sch_schedule_entry *> due = schedules_due(prepares_for_);
    if (!due.empty() && state_of(*due.front()->rec).running_since == 0) runner_.prepare(*due.front());
  };
  if (!memory_is_short()) host::guarded(first, [] {});
}

void Scheduler::prepare_later() {
  prepares_for_ = 0;
  set_alarm();
}

void Scheduler::clock_set(time_t step) {
  prepares_for_ = 0;  // its wait was computed by the clock of then
  meet_step(judge_step(step), step);
  check();
}

// After a small step back periodic schedules go on by elapsed time. A large one means that the clock had been wrong, so
// what was taken by it does not count.
void Scheduler::meet_step(ClockStep kind, time_t step) {
  const time_t now = wall_clock();
  if (kind == ClockStep::small_back)
    arm_all([&](sch_schedule_entry &entry) { arm_after_step(entry, step, now); }, Taken::stays);
  if (kind == ClockStep::had_been_wrong)
    arm_all([&](sch_schedule_entry &entry) { arm_anew(entry, now); }, Taken::forgotten);
}

void Scheduler::zone_changed() {
  const time_t now = wall_clock();
  arm_all([&](sch_schedule_entry &entry) { arm_in_zone(entry, now); }, Taken::stays);
  check();
}

// A failed commit is ignored: each schedule's state is stored again with its next run.
template <typename Arm>
void Scheduler::arm_all(Arm arm_one, Taken taken) {
  std::vector<sch_schedule_entry *> changed;
  for_each_schedule([&](sch_schedule_entry &entry) {
    const uint32_t before = next_due(entry);
    arm_one(entry);
    if (next_due(entry) != before) changed.push_back(&entry);
  });
  if (changed.empty()) return;
  (void)recorder_.commit({}, [&](RunBatch &batch) {
    for (const sch_schedule_entry *entry : changed) {
      batch.save(*entry);
      if (taken == Taken::forgotten) batch.taken(*entry, 0);
    }
  });
}

void Scheduler::recover() {
  recorder_.load();
  const int64_t now_ms = wall_clock_ms();
  const time_t now = static_cast<time_t>(now_ms / 1000);
  for_each_schedule([&](sch_schedule_entry &entry) {
    if (state_of(*entry.rec).running_since != 0) record_interrupted(entry, now_ms);
  });
  const time_t last_seen = recorder_.last_seen();
  if (recorder_.waiting() != 0) (void)recorder_.commit({}, {});  // if it fails the recorder retries
  meet_step(judge_downtime(static_cast<uint32_t>(last_seen), now), now - last_seen);
}

void Scheduler::record_interrupted(sch_schedule_entry &entry, int64_t now_ms) {
  const std::optional<RunState> stored = read_run_state(entry);
  const std::vector<uint32_t> jobs = jobs_without_outcome(entry, stored);
  RunStep step = interrupted_step(entry, stored, now_ms);
  for (const uint32_t id : jobs) {
    step.outcome.job_id = id;
    step.outcome.job = name_of(*sch_job_list[id].key);
    step.job = serial(sch_job_list[id]);
    step.ends_run = id == jobs.back();
    recorder_.record(step);
  }
  step.ends_run = true;
  if (jobs.empty()) recorder_.record(std::move(step));
}

host::Result<uint64_t> Scheduler::run_now(sch_schedule_entry &entry, const std::string &asked_by) {
  const auto refuse = [](uint32_t status) { return host::Error{status, syserr2str(status)}; };
  if (scheduler_enabled == 0) return refuse(control::err_disabled);
  if (state_of(*entry.rec).running_since != 0) return refuse(control::err_run_under_way);
  bool has_jobs = false;
  for_each_assigned(*entry.rec, [&](uint32_t) { has_jobs = true; });
  if (!has_jobs) return refuse(control::err_no_jobs);
  const int64_t now_ms = wall_clock_ms();
  RunTicket ticket = {0, serial(entry), 0, now_ms, asked_by};
  const host::Result<void> stored = recorder_.commit({}, [&](RunBatch &batch) {
    batch.save(entry);
    ticket.number = batch.begin_run(entry, 0, now_ms, asked_by);
  });
  if (stored.code() == host::err_store_gone) return refuse(host::err_store_gone);
  if (!stored) return host::Error{control::err_not_stored, stored.error().text};
  change_state(entry, [now_ms](ScheduleState &state) { begun(state, static_cast<time_t>(now_ms / 1000)); });
  const uint64_t number = ticket.number;
  runner_.add(entry, std::move(ticket));
  check_soon();
  return number;
}

host::Result<void> Scheduler::set_enabled(sch_schedule_entry &entry, bool enabled) {
  ConfigChange change;
  change.modify(entry);
  service::set_enabled(*entry.rec, enabled);
  if (enabled)
    arm(entry, wall_clock());
  else
    set_next_due(entry, 0);
  change.save(entry);
  if (const uint32_t status = change.commit(); status != 0) return host::Error{status, syserr2str(status)};
  check_soon();
  return {};
}

}  // namespace service
