// SPDX-License-Identifier: Apache-2.0
#include "service/request/run_orders.h"

#include <algorithm>

#include "control/statuses.h"
#include "host/status.h"
#include "service/request/answer.h"
#include "service/request/ownership.h"
#include "service/request/payload.h"
#include "service/run/scheduler.h"
#include "service/state/tables.h"

namespace service {
namespace {

uint32_t find_changeable(const Call &call, Payload payload, sch_schedule_entry **entry) {
  if (const uint32_t status = may_change(call); status != 0) return status;
  return find_own_schedule(call, std::string(text_of(payload)), entry);
}

uint32_t may_kill(const Call &call, uint64_t number) {
  const std::vector<Runner::UnderWay> runs = call.context.runner.list();
  const auto run = std::ranges::find_if(runs, [&](const Runner::UnderWay &one) { return one.ticket.number == number; });
  if (run == runs.end()) return control::err_no_such_run;
  return call.context.authority.may_use(call.caller, run->owner_tag) ? 0 : control::err_not_owner;
}

}  // namespace

host::Answer run_schedule(const Call &call, Payload payload) {
  sch_schedule_entry *entry = nullptr;
  if (const uint32_t status = find_changeable(call, payload, &entry); status != 0) return with_status(status);
  const host::Result<uint64_t> number = call.context.scheduler.run_now(*entry, call.caller.user_name);
  if (!number) return with_status(number.code());
  host::Bytes reply;
  append_record(&reply, *number);
  return with_reply(std::move(reply));
}

host::Answer kill_run(const Call &call, Payload payload) {
  if (payload.size() != sizeof(uint64_t)) return with_status(host::err_bad_request);
  const auto number = record_of<uint64_t>(payload);
  if (const uint32_t status = may_kill(call, number); status != 0) return with_status(status);
  return with_status(call.context.scheduler.kill_run(number, call.caller.user_name).code());
}

host::Answer set_schedule_enabled(const Call &call, Payload payload, bool enabled) {
  sch_schedule_entry *entry = nullptr;
  if (const uint32_t status = find_changeable(call, payload, &entry); status != 0) return with_status(status);
  if (is_enabled(*entry->rec) == enabled) return with_status(0);
  return with_status(call.context.scheduler.set_enabled(*entry, enabled).code());
}

}  // namespace service
