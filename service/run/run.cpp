// SPDX-License-Identifier: Apache-2.0
#include "service/run/run.h"

#include <csignal>
#include <utility>

#include "host/guard.h"
#include "host/security/account_state.h"
#include "host/status.h"
#include "host/text_field.h"
#include "platform/errors.h"
#include "service/clock.h"
#include "service/limits.h"
#include "service/state/tables.h"

namespace service {

Run::Run(const RunOptions &options, Processes &processes, Recorder &recorder, RunStep schedule, RunTicket ticket,
         Ends ends)
    : options_(options),
      processes_(processes),
      recorder_(recorder),
      schedule_(std::move(schedule)),
      ticket_(std::move(ticket)),
      ends_(std::move(ends)) {
  schedule_.outcome.run = ticket_.number;
  schedule_.outcome.due = ticket_.due;
  schedule_.outcome.run_begin_ms = ticket_.begin_ms;
  schedule_.outcome.asked_by = ticket_.asked_by;
}

sch_schedule_entry *Run::entry() const {
  return schedule_by_serial(schedule_.schedule);
}

void Run::begin(int64_t now_ms) {
  sch_schedule_entry *schedule = entry();
  if (schedule == nullptr) {
    RunStep step = schedule_;
    step.outcome.reason = Reason::skipped;
    step.outcome.wait_status = exit_status(Reason::skipped);
    step.outcome.end_ms = now_ms;
    step.outcome.remark = "skipped: the schedule was deleted before its turn came";
    return record(std::move(step), Then::wait);
  }
  change_state(*schedule, [now_ms](ScheduleState &state) { started(state, static_cast<time_t>(now_ms / 1000)); });
  if (const host::Result<void> found = find_owner(); !found) {
    refuse_user(found.error().text);
    return next_job();
  }
  if (needs_authentication()) return authenticate();
  next_job();
}

// Name and uid must both still belong to the user who configured the schedule, as a uid may be given to another user.
host::Result<void> Run::find_owner() {
  owner_ = owner_for(options_, schedule_.owner, schedule_.owner_tag);
  if (owner_ && schedule_.owner_tag == owner_tag(owner_->uid)) return check_account();
  return host::Error{SCH_STATUS_AUTHENTICATION_FAILED,
                     owner_ ? "user " + schedule_.owner + " is not the one who configured the schedule"
                            : "there is no user " + schedule_.owner};
}

// The service's own user needs none of this: whoever may run it may run its jobs.
host::Result<void> Run::check_account() const {
  if (!options_.change_user || owner_->uid == 0) return {};
  const std::optional<std::string> why = host::why_account_is_closed(owner_->name, wall_clock());
  if (!why) return {};
  return host::Error{host::err_account_refused, "user " + owner_->name + " is refused: " + *why};
}

// Checked again before each job: the one before may have taken hours, and the user may have been deleted meanwhile.
void Run::find_owner_again() {
  if (!refusal_.empty()) return;
  if (const host::Result<void> found = find_owner(); !found) refuse_user(found.error().text);
}

bool Run::needs_authentication() const {
  return !host::user_is_local(schedule_.owner);
}

void Run::authenticate() {
  const host::Result<sch_security_user_rec> record = host::security_read(schedule_.owner);
  if (!record) return authenticated(SCH_STATUS_NO_PASSWORD);
  const std::string sealed(host::text_in(record->password));
  const host::Answer answer = host::security_authenticate_later(schedule_.owner, sealed);
  if (!answer.pending) return authenticated(answer.status);
  authentication_ = answer.pending;
  const auto ask = [this] { authenticated(std::exchange(authentication_, nullptr)->answer().status); };
  authentication_ready_ = host::Watch::readable(authentication_->descriptor, ask);
  authentication_timer_ = host::Watch::after_ms(static_cast<unsigned>(authentication_->deadline_ms), ask);
}

void Run::authenticated(uint32_t status) {
  authentication_ready_.stop();
  authentication_timer_.stop();
  if (status != 0) refuse_user("user " + schedule_.owner + ": " + syserr2str(status));
  next_job();
}

void Run::refuse_user(const std::string &why) {
  refusal_ = why;
  sch_syslog_raise(&syslog_msg_SCH_SYSLOG_USER_ERR, schedule_.owner.c_str(),
                   static_cast<int>(SCH_STATUS_AUTHENTICATION_FAILED));
}

int Run::job_after(int id) const {
  const sch_schedule_entry *schedule = entry();
  return schedule == nullptr ? -1 : service::job_after(*schedule->rec, id);
}

// Starts the next job; those that cannot run are recorded and passed over.
void Run::next_job() {
  int id = job_after(last_job_);
  if (id < 0) return end_without_outcome();
  for (; id >= 0; id = job_after(id)) {
    last_job_ = id;
    if (start_job(sch_job_list[id])) return;
  }
}

void Run::go_on() {
  if (!over_) next_job();
}

bool Run::start_job(const sch_job_entry &slot) {
  if (ending_.reason != Reason::ended) {
    record_unstarted(slot, ending_.reason, ending_.remark);
    return false;
  }
  if (const std::string refusal = refusal_of(slot); !refusal.empty()) {
    record_unstarted(slot, Reason::user, refusal);
    return false;
  }
  job_begin_ms_ = wall_clock_ms();
  host::Result<std::unique_ptr<JobProcess>> process =
      host::guarded([&] { return start_process(slot); },
                    []() -> host::Result<std::unique_ptr<JobProcess>> {
                      return host::Error{host::err_no_memory, "there is no memory to start it"};
                    });
  if (!process) {
    record_unstarted(slot, Reason::not_started, process.error().text);
    return false;
  }
  process_ = std::move(*process);
  job_ = slot.reserved;
  job_name_ = name_of(*slot.key);
  if (sch_schedule_entry *schedule = entry(); schedule != nullptr)
    change_state(*schedule, [&](ScheduleState &state) { job_started(state, slot.hdr->job_id); });
  return true;
}

std::string Run::refusal_of(const sch_job_entry &slot) const {
  if (!refusal_.empty()) return refusal_;
  return owner_of(slot) == schedule_.owner_tag ? "" : "the job belongs to another user than the schedule";
}

host::Result<std::unique_ptr<JobProcess>> Run::start_process(const sch_job_entry &slot) {
  const Task task = task_for(slot, schedule_.schedule_name, *owner_, options_, processes_);
  return JobProcess::start(processes_, task, [this](JobProcess::Result result) { job_ended(std::move(result)); });
}

RunStep Run::step_of_job() const {
  RunStep step = schedule_;
  step.job = job_;
  step.outcome.job_id = static_cast<uint32_t>(last_job_);
  step.outcome.job = job_name_;
  step.outcome.begin_ms = job_begin_ms_;
  step.outcome.end_ms = wall_clock_ms();
  return step;
}

void Run::job_ended(JobProcess::Result result) {
  process_.reset();
  kill_timer_.stop();
  if (job_after(last_job_) >= 0) find_owner_again();
  RunStep step = step_of_job();
  step.outcome.reason = ending_.reason == Reason::ended ? result.reason : ending_.reason;
  step.outcome.wait_status = result.wait_status;
  if (step.outcome.reason != Reason::ended && result.wait_status == 0)
    step.outcome.wait_status = exit_status(step.outcome.reason);  // even if the job had exited with success
  step.outcome.remark = ending_.reason == Reason::ended ? result.remark : ending_.remark;
  step.outcome.output_bytes = result.output_total;
  step.outcome.killed = result.killed;
  step.output = std::move(result.output);
  job_name_.clear();
  record(std::move(step), Then::go_on);
}

void Run::record_unstarted(const sch_job_entry &slot, Reason reason, const std::string &remark) {
  job_ = slot.reserved;
  job_begin_ms_ = 0;
  RunStep step = step_of_job();
  step.outcome.job = name_of(*slot.key);
  step.outcome.reason = reason;
  step.outcome.wait_status = exit_status(reason);
  step.outcome.remark = remark;
  record(std::move(step), Then::wait);
}

// With Then::go_on the next job starts when this outcome is stored, unless the run has been stopped meanwhile. The
// run's end is stored with its last outcome.
void Run::record(RunStep step, Then then) {
  step.ends_run = job_after(last_job_) < 0;
  over_ = step.ends_run;
  if (!over_)
    return recorder_.record(std::move(step), then == Then::go_on ? [this] { go_on(); } : Recorder::Recorded());
  recorder_.record(std::move(step), [this] { finish(); });
  ends_.processes();
}

// For a run whose remaining jobs were deassigned or deleted meanwhile: it ends without a further outcome.
void Run::end_without_outcome() {
  RunStep step = schedule_;
  step.has_outcome = false;
  step.outcome.end_ms = wall_clock_ms();
  record(std::move(step), Then::wait);
}

void Run::finish() {
  const std::function<void()> all = std::move(ends_.all);
  all();
}

void Run::kill(const std::string &asked_by) {
  if (ending_.reason != Reason::ended || over_) return;
  ending_ = {Reason::killed, "killed: asked for by " + asked_by};
  if (authentication_) {
    authentication_ready_.stop();
    authentication_timer_.stop();
    authentication_.reset();
    return next_job();
  }
  if (!process_) return;  // between two jobs
  process_->signal_all(SIGTERM);
  kill_timer_ = host::Watch::after_ms(process_->grace_ms(), [this] { job_ended(process_->end()); });
}

void Run::stop() {
  if (over_) return;
  authentication_ready_.stop();
  authentication_timer_.stop();
  authentication_.reset();
  if (ending_.reason == Reason::ended) ending_ = {Reason::stopped, "stopped: the scheduler service ended"};
  if (process_) job_ended(process_->end());
  go_on();
}

}  // namespace service
