// SPDX-License-Identifier: Apache-2.0
#include "service/run/scheduler.h"

#include "service/limits.h"
#include "service/run/due.h"
#include "service/run/run_record.h"
#include "service/run/runner.h"
#include "service/state/change.h"
#include "service/state/tables.h"

namespace service {
namespace {

bool is_due(const sch_schedule_entry &entry, time_t now) {
  const uint32_t due = state_of(*entry.rec).next_due;
  return scheduler_enabled != 0 && due != 0 && time_t{due} <= now;
}

}  // namespace

bool Scheduler::start(std::string *error) {
  if (!alarm_.open([this](time_t step) { step == 0 ? check() : clock_set(step); }, error)) return false;
  check();
  return true;
}

void Scheduler::check() {
  const time_t now = time(nullptr);
  std::vector<sch_schedule_entry *> changed;
  if (scheduler_enabled != 0)
    for (sch_schedule_entry *entry : schedules_due(now))
      take_due(*entry, now, &changed);
  if (!changed.empty()) store_run_state(changed);
  alarm_.set(scheduler_enabled != 0 ? earliest_due() : 0);
}

void Scheduler::take_due(sch_schedule_entry &entry, time_t now, std::vector<sch_schedule_entry *> *changed) {
  const time_t due = state_of(*entry.rec).next_due;
  arm_next(entry, now);
  changed->push_back(&entry);
  if (now - due > late_limit_s)
    record_missed(entry, due, now);
  else
    context_.runner.begin(context_, entry, due);
}

void Scheduler::clock_set(time_t step) {
  if (step <= -clock_step_limit_s) {
    const time_t now = time(nullptr);
    std::vector<sch_schedule_entry *> changed;
    for_each_schedule([&](sch_schedule_entry &entry) {
      if (state_of(*entry.rec).next_due == 0) return;
      arm_anew(entry, now);
      changed.push_back(&entry);
    });
    if (!changed.empty()) store_run_state(changed);
  }
  check();
}

void Scheduler::zone_changed() {
  const time_t now = time(nullptr);
  std::vector<sch_schedule_entry *> changed;
  for_each_schedule([&](sch_schedule_entry &entry) {
    if (arm_in_zone(entry, now)) changed.push_back(&entry);
  });
  if (!changed.empty()) store_run_state(changed);
  check();
}

void Scheduler::recover() {
  const time_t now = time(nullptr);
  std::vector<sch_schedule_entry *> changed;
  for_each_schedule([&](sch_schedule_entry &entry) {
    if (recover(entry, now)) changed.push_back(&entry);
  });
  context_.log.sync();
  store_run_state(changed);
}

bool Scheduler::recover(sch_schedule_entry &entry, time_t now) {
  const bool interrupted = state_of(*entry.rec).running_since != 0;
  if (interrupted) record_interrupted(entry, now);
  const time_t due = state_of(*entry.rec).next_due;
  if (!is_due(entry, now)) return interrupted;
  arm_next(entry, now);
  record_missed(entry, due, now);
  return true;
}

void Scheduler::record_missed(sch_schedule_entry &entry, time_t due, time_t now) {
  LogRecord record = log_record(entry, no_job, exit_status(Reason::missed), now);
  const uint32_t next = state_of(*entry.rec).next_due;
  record.remark = "missed: it was due at " + time_text(due) + ", found at " + time_text(now) +
                  (next == 0 ? "; it does not run again" : "; next at " + time_text(next));
  context_.log.append_unsynced(record);
  sch_syslog_raise(&syslog_msg_SCH_WARN, ("schedule " + record.schedule + " " + record.remark).c_str());
}

void Scheduler::record_interrupted(sch_schedule_entry &entry, time_t now) {
  ScheduleState state = state_of(*entry.rec);
  const uint32_t id = state.running_job - 1;
  sch_job_entry *slot = id < SCH_MAX_JOBS && sch_job_list[id].key != nullptr ? &sch_job_list[id] : nullptr;
  const uint32_t status = exit_status(Reason::interrupted);
  LogRecord record = log_record(entry, slot == nullptr ? no_job : name_of(*slot->key), status, now);
  record.remark = "interrupted: the service ended during the run that began at " + time_text(state.running_since);
  context_.log.append_unsynced(record);
  if (slot != nullptr) set_job_status(*slot, entry, status, now);
  state.running_since = state.running_job = 0;
  state.last_completion = static_cast<uint32_t>(now);
  set_state(entry, state);
}

}  // namespace service
