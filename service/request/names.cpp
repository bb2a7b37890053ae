// SPDX-License-Identifier: Apache-2.0
#include "service/request/names.h"

#include <set>

#include "control/operations.h"
#include "control/statuses.h"
#include "host/security/security.h"
#include "host/status.h"
#include "service/request/answer.h"
#include "service/request/ownership.h"
#include "service/request/payload.h"
#include "service/state/schedule_state.h"
#include "service/state/tables.h"

namespace service {
namespace {

using control::ObjectKind;
using Names = std::set<std::string>;

// Collects names up to the limit of a reply; if there are more, the operator has to type more characters.
class Found {
 public:
  explicit Found(std::string_view beginning) : beginning_(beginning) {}
  void add(const std::string &name) {
    if (!name.starts_with(beginning_)) return;
    names_.insert(name);
    if (names_.size() > control::names_limit) names_.erase(std::prev(names_.end()));
  }
  const Names &names() const { return names_; }

 private:
  std::string_view beginning_;
  Names names_;
};

host::Answer in_lines(const Names &names) {
  std::string lines;
  for (const std::string &name : names)
    lines += name + "\n";
  return with_text(lines);
}

void add_jobs(const Call &call, Found *found) {
  for_each_job([&](const sch_job_entry &slot, uint32_t) {
    if (slot.hdr != nullptr && call.context.authority.may_use(call.caller, owner_of(slot)))
      found->add(name_of(*slot.key));
  });
}

void add_schedules(const Call &call, Found *found) {
  for (const sch_schedule_entry *entry : own_schedules(call))
    found->add(name_of(*entry->key));
}

// The owners of jobs and schedules; callers who are not the administrator get only their own name.
void add_users(const Call &call, Found *found) {
  found->add(call.caller.user_name);
  for (const sch_schedule_entry *entry : own_schedules(call)) {
    const ScheduleState state = state_of(*entry->rec);
    found->add({state.owner, strnlen(state.owner, sizeof state.owner)});
  }
}

// The schedules of a job, for a shell that warns before the job is deleted.
host::Answer find_job_and_users(const Call &call, const std::string &name) {
  sch_job_entry *slot = nullptr;
  if (const uint32_t status = find_own_job(call, name, &slot); status != 0) return with_status(status);
  Names schedules;
  for (const sch_schedule_entry *entry : schedules_with_job(slot->hdr->job_id))
    schedules.insert(name_of(*entry->key));
  return in_lines(schedules);
}

}  // namespace

host::Answer find_named(const Call &call, Payload payload) {
  const auto kind = record_of<ObjectKind>(payload);
  const std::string name(text_of(payload.subspan(sizeof kind)));
  if (kind == ObjectKind::job) return find_job_and_users(call, name);
  if (kind != ObjectKind::schedule) return with_status(host::err_bad_value);
  sch_schedule_entry *entry = nullptr;
  return with_status(find_own_schedule(call, name, &entry));
}

host::Answer list_names(const Call &call, Payload payload) {
  const auto kind = record_of<ObjectKind>(payload);
  Found found(text_of(payload.subspan(sizeof kind)));
  switch (kind) {
    case ObjectKind::job:
      add_jobs(call, &found);
      break;
    case ObjectKind::schedule:
      add_schedules(call, &found);
      break;
    case ObjectKind::user:
      add_users(call, &found);
      break;
    default:
      return with_status(host::err_bad_value);
  }
  return in_lines(found.names());
}

}  // namespace service
