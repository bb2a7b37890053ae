// SPDX-License-Identifier: Apache-2.0
#include "service/request/schedules.h"

#include "control/statuses.h"
#include "host/status.h"
#include "host/text_field.h"
#include "service/clock.h"
#include "service/request/email.h"
#include "service/request/ownership.h"
#include "service/run/due.h"
#include "service/state/change.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"

namespace service {
namespace {

uint32_t check_room(const Call &call, uint32_t owner) {
  const Settings &limits = *call.context.settings;
  if (schedule_count() >= static_cast<size_t>(limits.max_schedules)) return control::err_too_many_schedules;
  if (call.context.authority.administrator(call.caller)) return 0;
  const bool full = schedule_count(owner) >= static_cast<size_t>(limits.max_schedules_per_user);
  return full ? control::err_too_many_own_schedules : 0;
}

uint32_t save_modified(ConfigChange &change, sch_schedule_entry &entry) {
  change.save(entry);
  return change.commit();
}

uint32_t set_time(sch_schedule_entry &entry, const ModifyRequest &request) {
  ConfigChange change;
  change.modify(entry);
  entry.rec->time = request.subcommand == SCH_MODIFY_CLEAR_TIME ? sch_tminfo{} : request.time;
  taken_wall(*entry.rec) = 0;
  const bool armed = arm(entry, wall_clock());
  if (!is_enabled(*entry.rec)) set_next_due(entry, 0);
  if (!armed && entry.rec->time.type != SCH_SCHEDULE_NONE) return SCH_STATUS_TIME_OUT_OF_RANGE;
  return save_modified(change, entry);
}

uint32_t assign(sch_schedule_entry &entry, const sch_job_entry &slot) {
  const uint32_t id = slot.hdr->job_id;
  if (has_job(*entry.rec, id)) return control::err_already_assigned;
  // Jobs run as the schedule's owner. So both must have the same owner, or one user would run code as another.
  if (owner_of(slot) != owner_of(entry)) return control::err_not_owner;
  ConfigChange change;
  change.modify(entry);
  assign_job(entry, id);
  return save_modified(change, entry);
}

uint32_t deassign(sch_schedule_entry &entry, const sch_job_entry &slot) {
  const uint32_t id = slot.hdr->job_id;
  if (!has_job(*entry.rec, id)) return control::err_not_assigned;
  ConfigChange change;
  change.modify(entry);
  deassign_job(entry, id);
  return save_modified(change, entry);
}

}  // namespace

uint32_t create_schedule(const Call &call, const ScheduleRequest &request) {
  if (find_schedule(request.name) != nullptr) return SCH_STATUS_EXISTS;
  if (!forget_stale_statuses(call.context)) return control::err_not_stored;
  const Owner owner = call.context.authority.owner(call.caller);
  if (const uint32_t status = check_room(call, owner_tag(owner.uid)); status != 0) return status;

  ConfigChange change;
  sch_schedule_entry *entry = add_schedule(request.name, owned_by(owner.name, owner_tag(owner.uid)));
  if (entry == nullptr) return host::err_no_memory;
  change.undo([entry] { remove_schedule(*entry); });
  creation(*entry->rec) = new_creation();
  return save_modified(change, *entry);
}

uint32_t delete_schedule(const Call &call, const ScheduleRequest &request) {
  sch_schedule_entry *entry = nullptr;
  if (const uint32_t status = find_own_schedule(call, request.name, &entry); status != 0) return status;

  ConfigChange change;
  delete_addresses(change, request.name);
  sch_delete_schedule_entry_from_pss(pss_running, entry);
  if (const uint32_t status = change.commit(); status != 0) return status;
  delete_statuses_of_schedule(call.context, *entry);
  remove_schedule(*entry);
  return 0;
}

uint32_t modify_schedule(const Call &call, const ModifyRequest &request) {
  sch_schedule_entry *entry = nullptr;
  if (const uint32_t status = find_own_schedule(call, request.schedule, &entry); status != 0) return status;
  if (request.subcommand != SCH_MODIFY_JOB) return set_time(*entry, request);
  const sch_job_entry *slot = find_job(request.job);
  if (slot == nullptr || slot->hdr == nullptr) return control::err_no_such_job;
  return request.negate ? deassign(*entry, *slot) : assign(*entry, *slot);
}

}  // namespace service
