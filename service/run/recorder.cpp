// SPDX-License-Identifier: Apache-2.0
#include "service/run/recorder.h"

#include <algorithm>
#include <new>
#include <utility>

#include "host/errors.h"
#include "host/guard.h"
#include "host/status.h"
#include "service/clock.h"
#include "service/limits.h"
#include "service/run/outcome_report.h"
#include "service/run/run_record.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"

namespace service {
namespace {

sch_job_entry *job_of(const RunStep &step) {
  const uint32_t id = step.outcome.job_id;
  if (step.job == 0 || id >= SCH_MAX_JOBS || sch_job_list[id].hdr == nullptr) return nullptr;
  return serial(sch_job_list[id]) == step.job ? &sch_job_list[id] : nullptr;
}

time_t end_of(const RunStep &step) {
  return static_cast<time_t>(step.outcome.end_ms / 1000);
}

sch_runtime_job_status status_of(const RunStep &step) {
  sch_runtime_job_status status = {};
  step.schedule_name.copy(status.schedule_name, sizeof status.schedule_name);
  status.job_id = step.outcome.job_id;
  status.words[0] = step.outcome.wait_status;
  status.words[1] = static_cast<uint32_t>(step.outcome.end_ms / 1000);
  return status;
}

void end(ScheduleState *state, const RunStep &step) {
  if (step.outcome.reason == Reason::interrupted)
    interrupted(*state, end_of(step));
  else if (step.had_its_turn)
    finished(*state, end_of(step));
  else
    never_started(*state);
}

void take_effect(const RunStep &step) {
  sch_schedule_entry *entry = schedule_by_serial(step.schedule);
  if (entry == nullptr) return;
  change_state(*entry, [&](ScheduleState &state) {
    if (step.job != 0) job_ended(state);
    if (step.ends_run) end(&state, step);
  });
  if (sch_job_entry *slot = job_of(step); slot != nullptr) remember_status(*slot, status_of(step));
}

OutcomeReport report_of(const RunStep &step) {
  const Outcome &outcome = step.outcome;
  OutcomeReport report;
  report.schedule = step.schedule_name;
  report.job = outcome.job;
  report.owner = step.owner;
  report.run = outcome.run;
  report.status = outcome.wait_status >> 8;
  report.outcome =
      outcome.reason != Reason::ended ? word_for(outcome.reason) : (outcome.wait_status == 0 ? "success" : "failed");
  report.due = outcome.due;
  if (outcome.due != 0 && outcome.begin_ms != 0) report.lateness_ms = outcome.begin_ms - int64_t{outcome.due} * 1000;
  if (outcome.begin_ms != 0) report.duration_ms = outcome.end_ms - outcome.begin_ms;
  report.output_bytes = outcome.output_bytes;
  report.remark = outcome.remark;
  return report;
}

}  // namespace

void Recorder::put(RunBatch &batch, RunStep *step) const {
  const sch_schedule_entry *entry = schedule_by_serial(step->schedule);
  if (entry == nullptr) return;
  if (step->has_outcome) batch.add(*entry, step->outcome);
  if (const sch_job_entry *slot = job_of(*step); slot != nullptr) batch.set_status(*slot, status_of(*step));
  step->report = owes_report_ && owes_report_(*step) ? batch.owe_report(*entry, step->outcome.run) : 0;
  if (!step->ends_run) return;
  ScheduleState state = state_of(*entry->rec);
  end(&state, *step);
  batch.save(*entry, state);
  batch.end_run(*entry);
}

void Recorder::load() {
  counters_ = read_run_counters();
}

void Recorder::record(RunStep step, Recorded recorded) {
  queue_.push_back({std::move(step), std::move(recorded)});
  if (!timer_.active()) arm_timer();
}

// The pause doubles with each failure.
void Recorder::arm_timer() {
  const unsigned doublings = std::min(failures_, 16u);
  const unsigned wait = failures_ == 0 ? outcome_wait_ms : std::min(retry_ms << doublings, longest_retry_ms);
  timer_ = host::Watch::after_ms(wait, [this] { commit_waiting(); });
}

void Recorder::commit_waiting() {
  timer_.stop();
  const bool had_failed = failures_ != 0;
  if (!queue_.empty() && !commit({}, {})) return;
  if (had_failed && ask_again_) ask_again_();
  if (!timer_.active()) failures_ = 0;
}

host::Result<void> Recorder::commit(std::vector<RunStep> steps, const Fill &fill) {
  const size_t waited = queue_.size();
  for (RunStep &step : steps)
    queue_.push_back({std::move(step), {}});
  host::Result<void> result = store(fill);
  if (!result) {
    queue_.resize(waited);
    failed(result.error());
    return result;
  }
  failures_ = 0;
  timer_.stop();
  tell(std::exchange(queue_, {}));
  return result;
}

host::Result<void> Recorder::store(const Fill &fill) {
  const auto stored = [&] {
    RunBatch batch(counters_);
    for (Waiting &waiting : queue_)
      put(batch, &waiting.step);
    if (fill) fill(batch);
    for (const Settled &report : settled_)
      batch.settle_report(report.number, report.schedule);
    host::Result<void> committed = batch.commit(wall_clock());
    if (committed) settled_.clear();
    return committed;
  };
  return host::guarded(stored, []() -> host::Result<void> { return host::error_of(host::err_no_memory); });
}

// The steps are stored by now, so running out of memory here must not keep the runs from going on.
void Recorder::tell(const std::vector<Waiting> &stored) {
  for (const Waiting &done : stored)
    host::guarded([&] { take_effect(done.step); },
                  [] { sch_syslog_raise(&syslog_msg_SCH_ERR, "no memory for a job's status; the store has it"); });
  for (const Waiting &done : stored)
    announce(done.step);
  for (const Waiting &done : stored)
    if (done.recorded) done.recorded();
}

void Recorder::failed(const host::Error &error) {
  if (failures_++ == 0) {
    const std::string text = "run state cannot be stored, no run is begun until it can: " + error.text;
    sch_syslog_raise(&syslog_msg_SCH_ERR, text.c_str());
  }
  if (error.code == host::err_store_full) halve_histories();
  arm_timer();
}

void Recorder::flush() {
  timer_.stop();
  if (queue_.empty()) return;
  if (const host::Result<void> stored = commit({}, {}); !stored) timer_.stop();
}

void Recorder::announce(const RunStep &step) {
  const auto tell = [&] {
    if (step.has_outcome) {
      log_.append_unsynced(log_record(step));
      report_outcome(report_of(step));
    }
    if (told_) told_(step);
    if (step.report != 0) settle_report(step.report, step.schedule_name);
  };
  host::guarded(tell,
                [] { sch_syslog_raise(&syslog_msg_SCH_ERR, "no memory to tell of an outcome; the history has it"); });
}

}  // namespace service
