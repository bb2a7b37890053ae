// SPDX-License-Identifier: Apache-2.0
#include "service/request/ownership.h"

#include "control/statuses.h"
#include "service/run/runner.h"
#include "service/state/change.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"

namespace service {

uint32_t may_change(const Call &call) {
  if (scheduler_enabled == 0) return control::err_disabled;
  const Context &context = call.context;
  return context.authority.may_configure(call.caller, context.settings->allow_groups,
                                         context.runner.processes().user_groups());
}

uint32_t find_own_job(const Call &call, const std::string &name, sch_job_entry **slot) {
  *slot = find_job(name);
  if (*slot == nullptr || (*slot)->hdr == nullptr) return control::err_no_such_job;
  return call.context.authority.may_use(call.caller, owner_of(**slot)) ? 0 : control::err_not_owner;
}

uint32_t find_own_schedule(const Call &call, const std::string &name, sch_schedule_entry **entry) {
  *entry = find_schedule(name);
  if (*entry == nullptr) return control::err_no_such_schedule;
  return call.context.authority.may_use(call.caller, owner_of(**entry)) ? 0 : control::err_not_owner;
}

std::vector<const sch_schedule_entry *> own_schedules(const Call &call) {
  std::vector<const sch_schedule_entry *> entries;
  if (call.context.authority.administrator(call.caller)) {
    entries.reserve(schedule_count());
    for_each_schedule([&](const sch_schedule_entry &entry) { entries.push_back(&entry); });
    return entries;
  }
  const uint32_t tag = owner_tag(call.caller.uid);
  for (const sch_schedule_entry *entry = schedule_after(-1, tag); entry != nullptr;
       entry = schedule_after(schedule_number(*entry->rec), tag))
    entries.push_back(entry);
  return entries;
}

}  // namespace service
