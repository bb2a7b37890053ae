// SPDX-License-Identifier: Apache-2.0
#include "service/request/rename.h"

#include "control/operations.h"
#include "control/statuses.h"
#include "host/status.h"
#include "service/request/answer.h"
#include "service/request/ownership.h"
#include "service/request/payload.h"
#include "service/state/address_table.h"
#include "service/state/change.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"

namespace service {
namespace {

struct NewName {
  std::string from, to;
};

// What cannot be taken back in the status store is removed at the next start.
template <typename Drop>
uint32_t commit_rename(const Call &call, ConfigChange &change, Drop drop_old_statuses) {
  const uint32_t status = change.commit();
  if (status == 0)
    drop_old_statuses();
  else
    call.context.stale_statuses = true;
  return status;
}

// Two stores cannot be changed in one commit. So the statuses are copied to the new name first, then the configuration
// is renamed, then the old statuses are removed. A crash in between leaves orphans, which the next start removes.
uint32_t rename(const Call &call, sch_job_entry &slot, const NewName &names) {
  if (const uint32_t error = copy_statuses_of_job(slot, names.to); error != 0) return control::err_not_stored;
  ConfigChange change;
  sch_delete_job_entry_from_pss(pss_running, &slot);
  change.undo([&slot, &names] { rename_job(slot, names.from); });
  rename_job(slot, names.to);
  change.save(slot);
  return commit_rename(call, change, [&] { drop_old_statuses_of_job(call.context, slot, names.from); });
}

void rename_with_addresses(ConfigChange &change, const NewName &names) {
  sch_schedule_email_entry *addresses = find_addresses(names.from);
  if (addresses == nullptr) return;
  sch_delete_schedule_email_entry_from_pss(pss_running, addresses);
  change.undo([addresses, &names] { rename_addresses(*addresses, names.from); });
  rename_addresses(*addresses, names.to);
  change.require(sch_save_schedule_email_entry_to_pss(pss_running, addresses));
}

uint32_t rename(const Call &call, sch_schedule_entry &entry, const NewName &names) {
  if (state_of(*entry.rec).running_since != 0) return control::err_run_under_way;
  if (const uint32_t error = copy_statuses_of_schedule(entry, names.to); error != 0) return control::err_not_stored;
  ConfigChange change;
  sch_delete_schedule_entry_from_pss(pss_running, &entry);
  change.undo([&entry, &names] { rename_schedule(entry, names.from); });
  rename_schedule(entry, names.to);
  change.require(sch_save_schedule_entry_to_pss(pss_running, &entry));  // keeps its edition, as the run state does
  rename_with_addresses(change, names);
  return commit_rename(call, change, [&] { drop_old_statuses_of_schedule(call.context, entry, names.from); });
}

uint32_t rename_job_named(const Call &call, const NewName &names) {
  sch_job_entry *slot = nullptr;
  if (const uint32_t status = find_own_job(call, names.from, &slot); status != 0) return status;
  if (names.from == names.to) return 0;
  return find_job(names.to) != nullptr ? SCH_STATUS_EXISTS : rename(call, *slot, names);
}

uint32_t rename_schedule_named(const Call &call, const NewName &names) {
  sch_schedule_entry *entry = nullptr;
  if (const uint32_t status = find_own_schedule(call, names.from, &entry); status != 0) return status;
  if (names.from == names.to) return 0;
  return find_schedule(names.to) != nullptr ? SCH_STATUS_EXISTS : rename(call, *entry, names);
}

}  // namespace

host::Answer rename_named(const Call &call, Payload payload) {
  const auto kind = record_of<control::ObjectKind>(payload);
  const std::string_view text = text_of(payload.subspan(sizeof kind));
  const size_t between = text.find('\0');
  if (between == text.npos) return with_status(host::err_bad_request);
  const NewName names = {std::string(text.substr(0, between)), std::string(text.substr(between + 1))};
  if (!is_name(names.to)) return with_status(control::err_bad_name);
  if (const uint32_t status = may_change(call); status != 0) return with_status(status);
  if (!forget_stale_statuses(call.context)) return with_status(control::err_not_stored);
  if (kind == control::ObjectKind::job) return with_status(rename_job_named(call, names));
  return with_status(kind == control::ObjectKind::schedule ? rename_schedule_named(call, names) : host::err_bad_value);
}

}  // namespace service
