// SPDX-License-Identifier: Apache-2.0
#include "service/run/run.h"

#include <csignal>
#include <ctime>

#include "host/status.h"
#include "platform/bitset.h"
#include "platform/errors.h"
#include "service/calendar/service_zone.h"
#include "service/request/jobs.h"
#include "service/run/run_record.h"
#include "service/run/runner.h"
#include "service/state/tables.h"

namespace service {

Run::Run(Context &context, Runner &runner, sch_schedule_entry &schedule)
    : context_(context), runner_(runner), schedule_(serial(schedule)), schedule_name_(name_of(*schedule.key)) {
  const ScheduleState state = state_of(*schedule.rec);
  owner_name_ = {state.owner, strnlen(state.owner, sizeof state.owner)};
  owner_tag_ = state.owner_tag;
}

sch_schedule_entry *Run::entry() const {
  return schedule_by_serial(schedule_);
}

void Run::begin() {
  sch_schedule_entry *schedule = entry();
  if (schedule == nullptr) return runner_.ended(context_, schedule_);  // deleted while it waited for its turn
  ScheduleState state = state_of(*schedule->rec);
  begun_ = true;
  state.last_execution = static_cast<uint32_t>(time(nullptr));
  state.execution_count++;
  set_state(*schedule, state);
  std::string refusal;
  if (!find_owner(&refusal)) {
    refuse_user(refusal);
    return next_job();
  }
  if (needs_authentication()) return authenticate();
  next_job();
}

// The name must still be the user's who configured the schedule: a number may have been given to somebody else since.
bool Run::find_owner(std::string *refusal) {
  owner_ = runner_.options().change_user ? host::user_by_name(owner_name_) : host::user_by_uid(owner_tag_ - 1);
  if (owner_ && owner_tag_ == owner_tag(owner_->uid)) return true;
  *refusal = owner_ ? "user " + owner_name_ + " is not the one who configured the schedule"
                    : "there is no user " + owner_name_;
  return false;
}

bool Run::needs_authentication() const {
  return !host::user_is_local(owner_name_);
}

void Run::authenticate() {
  sch_security_user_rec password = {};
  if (host::security_read(owner_name_, &password) != 0) return authenticated(SCH_STATUS_NO_PASSWORD);
  const std::string sealed(password.password, strnlen(password.password, sizeof password.password));
  const host::Answer answer = host::security_authenticate_later(owner_name_, sealed);
  if (!answer.pending) return authenticated(answer.status);
  authentication_ = answer.pending;
  const auto ask = [this] { authenticated(std::exchange(authentication_, nullptr)->answer().status); };
  authentication_ready_ = host::Watch::readable(authentication_->descriptor, ask);
  authentication_timer_ = host::Watch::after_ms(static_cast<unsigned>(authentication_->deadline_ms), ask);
}

void Run::authenticated(uint32_t status) {
  authentication_ready_.stop();
  authentication_timer_.stop();
  if (status != 0) refuse_user("user " + owner_name_ + ": " + syserr2str(status));
  next_job();
}

void Run::refuse_user(const std::string &why) {
  refusal_ = why;
  sch_syslog_raise(&syslog_msg_SCH_SYSLOG_USER_ERR, owner_name_.c_str(),
                   static_cast<int>(SCH_STATUS_AUTHENTICATION_FAILED));
}

// Jobs that cannot run are recorded on the way to the next one that can.
void Run::next_job() {
  while (true) {
    sch_schedule_entry *schedule = entry();
    last_job_ = schedule == nullptr ? -1 : bitset_next_bit(schedule->rec->jobs, SCH_MAX_JOBS, last_job_);
    if (last_job_ < 0) return finish();
    sch_job_entry &slot = sch_job_list[last_job_];
    if (slot.key == nullptr || slot.hdr == nullptr) continue;
    start_job(slot);
    if (process_) return;
  }
}

void Run::start_job(sch_job_entry &slot) {
  job_ = serial(slot);
  job_name_ = name_of(*slot.key);
  JobProcess::Result refused;
  refused.reason = Reason::user;
  refused.wait_status = exit_status(Reason::user);
  refused.remark = refusal_;
  if (refusal_.empty() && owner_of(slot) != owner_tag_)
    refused.remark = "the job belongs to another user than the schedule";
  if (!refused.remark.empty()) return record(refused);

  Task task = {runner_.options().interpreter, schedule_name_, job_name_, job_text(slot), *owner_,
               runner_.options().change_user};
  task.time_zone = service_zone().identifier();
  note_progress(slot.hdr->job_id + 1);
  host::Result<std::unique_ptr<JobProcess>> started = JobProcess::start(
      runner_.processes(), task, [this](const JobProcess::Result &result) { job_ended(result); });
  if (started) {
    process_ = std::move(*started);
    return;
  }
  refused.remark = started.error().text;
  refused.reason = Reason::not_started;
  refused.wait_status = exit_status(Reason::not_started);
  record(refused);
}

// Known before the job starts: after a crash it tells which one was interrupted.
void Run::note_progress(uint32_t running_job) {
  sch_schedule_entry *schedule = entry();
  if (schedule == nullptr) return;
  ScheduleState state = state_of(*schedule->rec);
  state.running_job = running_job;
  set_state(*schedule, state);
  store_run_state({schedule});
}

void Run::job_ended(const JobProcess::Result &result) {
  process_.reset();
  record(result);
  next_job();
}

void Run::record(const JobProcess::Result &result) {
  const time_t now = time(nullptr);
  LogRecord logged = {job_name_,     schedule_name_,      owner_name_,
                      owner_tag_,    result.wait_status,  static_cast<uint32_t>(now),
                      result.output, result.output_total, result.remark};
  context_.log.append(logged);
  sch_schedule_entry *schedule = entry();
  sch_job_entry *slot = find_job(job_name_);
  if (schedule != nullptr && slot != nullptr && serial(*slot) == job_)
    set_job_status(*slot, *schedule, result.wait_status, now);
}

void Run::finish() {
  if (sch_schedule_entry *schedule = entry(); schedule != nullptr) {
    ScheduleState state = state_of(*schedule->rec);
    if (begun_) state.last_completion = static_cast<uint32_t>(time(nullptr));
    state.running_since = 0;
    state.running_job = 0;
    set_state(*schedule, state);
    store_run_state({schedule});
  }
  runner_.ended(context_, schedule_);
}

void Run::ask_to_end() const {
  if (process_) process_->signal_all(SIGTERM);
}

void Run::stop() {
  authentication_ready_.stop();
  authentication_timer_.stop();
  if (process_) {
    ask_to_end();
    process_->wait_ms(job_stop_ms);
    const JobProcess::Result result = process_->end();
    process_.reset();
    record(result);
  } else if (const sch_schedule_entry *schedule = entry(); schedule != nullptr) {
    LogRecord stopped = log_record(*schedule, no_job, exit_status(Reason::stopped), time(nullptr));
    stopped.remark = "stopped: the scheduler service ended";
    context_.log.append(stopped);
  }
  finish();
}

}  // namespace service
