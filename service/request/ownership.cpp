// SPDX-License-Identifier: Apache-2.0
#include "service/request/ownership.h"

#include "host/status.h"
#include "service/state/change.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"

namespace service {

uint32_t find_own_job(const Call &call, const std::string &name, sch_job_entry **slot) {
  *slot = find_job(name);
  if (*slot == nullptr || (*slot)->hdr == nullptr) return host::err_no_such_job;
  return call.context.authority.may_use(call.caller, owner_of(**slot)) ? 0 : host::err_not_owner;
}

uint32_t find_own_schedule(const Call &call, const std::string &name, sch_schedule_entry **entry) {
  *entry = find_schedule(name);
  if (*entry == nullptr) return host::err_no_such_schedule;
  return call.context.authority.may_use(call.caller, owner_of(**entry)) ? 0 : host::err_not_owner;
}

}  // namespace service
