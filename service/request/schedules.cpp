// SPDX-License-Identifier: Apache-2.0
#include "service/request/schedules.h"

#include <algorithm>
#include <ctime>
#include <memory>

#include "host/status.h"
#include "platform/memory.h"
#include "service/limits.h"
#include "service/request/email.h"
#include "service/run/due.h"
#include "service/state/change.h"
#include "service/state/schedule_state.h"
#include "service/state/statuses.h"

namespace service {
namespace {

struct Release {
  void operator()(void *memory) const { mtrack_free(memory); }
};

uint32_t check_room(uint32_t tag) {
  uint32_t all = 0, own = 0;
  for_each_schedule([&](const sch_schedule_entry &entry) {
    all++;
    own += state_of(*entry.rec).owner_tag == tag ? 1 : 0;
  });
  return all >= schedules_limit || own >= schedules_per_user_limit ? host::err_too_many_schedules : 0;
}

uint32_t next_number() {
  uint32_t highest = 0;
  for_each_schedule([&](const sch_schedule_entry &entry) { highest = std::max(highest, schedule_number(*entry.rec)); });
  return highest + 1;
}

void fill(sch_schedule_rec &rec, const Owner &owner) {
  schedule_number(rec) = next_number();
  ScheduleState state = {};
  owner.name.copy(state.owner, sizeof state.owner - 1);
  state.owner_tag = owner_tag(owner.uid);
  set_state(rec, state);
}

void remove_entry(sch_schedule_entry *entry) {
  sch_free_schedule_entry(&sch_running_config, g_list_find(sch_schedule_list, entry));
}

uint32_t save_modified(Change &change, sch_schedule_entry &entry) {
  change.save(entry);
  return change.commit();
}

uint32_t set_time(sch_schedule_entry &entry, const ModifyRequest &request) {
  Change change;
  change.modify(entry);
  entry.rec->time = request.subcommand == SCH_MODIFY_CLEAR_TIME ? sch_tminfo{} : request.time;
  const bool armed = arm(entry, time(nullptr));
  if (!armed && entry.rec->time.type != SCH_SCHEDULE_NONE) return SCH_STATUS_TIME_OUT_OF_RANGE;
  return save_modified(change, entry);
}

uint32_t assign_job(sch_schedule_entry &entry, const sch_job_entry &slot) {
  const uint32_t id = slot.hdr->job_id;
  if (has_job(*entry.rec, id)) return host::err_already_assigned;
  // The schedule's owner is the one the job runs as: nobody makes another's job run, or runs as another.
  if (slot.hdr->carried != state_of(*entry.rec).owner_tag) return host::err_not_owner;
  Change change;
  change.modify(entry);
  add_job(*entry.rec, id);
  return save_modified(change, entry);
}

uint32_t deassign_job(sch_schedule_entry &entry, const sch_job_entry &slot) {
  const uint32_t id = slot.hdr->job_id;
  if (!has_job(*entry.rec, id)) return host::err_not_assigned;
  Change change;
  change.modify(entry);
  remove_job(*entry.rec, id);
  return save_modified(change, entry);
}

}  // namespace

uint32_t find_own_schedule(const Call &call, const std::string &name, sch_schedule_entry **entry) {
  *entry = find_schedule(name);
  if (*entry == nullptr) return host::err_no_such_schedule;
  const uint32_t tag = state_of(*(*entry)->rec).owner_tag;
  return call.context.authority.may_use(call.caller, tag) ? 0 : host::err_not_owner;
}

uint32_t create_schedule(const Call &call, const ScheduleRequest &request) {
  if (find_schedule(request.name) != nullptr) return SCH_STATUS_EXISTS;
  if (!forget_stale_statuses(call.context)) return host::err_not_stored;
  const Owner owner = call.context.authority.owner(call.caller);
  if (const uint32_t status = check_room(owner_tag(owner.uid)); status != 0) return status;
  std::unique_ptr<void, Release> key(sch_malloc_check(sizeof(sch_config_key), 5, 0, "add config entry"));
  std::unique_ptr<void, Release> rec(sch_malloc_check(sizeof(sch_schedule_rec), 14, 0, "add schedule entry"));
  if (!key || !rec) return host::err_no_memory;
  request.name.copy(static_cast<sch_config_key *>(key.get())->name, sizeof(sch_config_key::name) - 1);
  fill(*static_cast<sch_schedule_rec *>(rec.get()), owner);

  Change change;
  sch_schedule_entry *entry = nullptr;
  if (sch_add_schedule_entry(&sch_running_config, static_cast<sch_config_key *>(key.release()),
                             static_cast<sch_schedule_rec *>(rec.release()), &entry) != 0)
    return host::err_no_memory;
  change.undo([entry] { remove_entry(entry); });
  serial(*entry) = next_serial();
  return save_modified(change, *entry);
}

uint32_t delete_schedule(const Call &call, const ScheduleRequest &request) {
  sch_schedule_entry *entry = nullptr;
  if (const uint32_t status = find_own_schedule(call, request.name, &entry); status != 0) return status;

  Change change;
  delete_addresses(change, request.name);
  sch_delete_schedule_entry_from_pss(pss_running, entry);
  if (const uint32_t status = change.commit(); status != 0) return status;
  delete_statuses_of_schedule(call.context, request.name);
  remove_entry(entry);
  return 0;
}

uint32_t modify_schedule(const Call &call, const ModifyRequest &request) {
  sch_schedule_entry *entry = nullptr;
  if (const uint32_t status = find_own_schedule(call, request.schedule, &entry); status != 0) return status;
  if (request.subcommand != SCH_MODIFY_JOB) return set_time(*entry, request);
  const sch_job_entry *slot = find_job(request.job);
  if (slot == nullptr || slot->hdr == nullptr) return host::err_no_such_job;
  return request.negate ? deassign_job(*entry, *slot) : assign_job(*entry, *slot);
}

}  // namespace service
