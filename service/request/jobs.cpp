// SPDX-License-Identifier: Apache-2.0
#include "service/request/jobs.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "control/statuses.h"
#include "host/memory.h"
#include "host/status.h"
#include "platform/memory.h"
#include "service/request/ownership.h"
#include "service/state/change.h"
#include "service/state/job_text.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"

namespace service {
namespace {

bool has_share(const Call &call, uint32_t owner) {
  const bool full = job_count(owner) >= static_cast<size_t>(call.context.settings->max_jobs_per_user);
  return !full || call.context.authority.administrator(call.caller);
}

void remove_from_schedules(ConfigChange &change, uint32_t id) {
  for (sch_schedule_entry *entry : schedules_with_job(id)) {
    change.modify(*entry);
    deassign_job(*entry, id);
    change.save(*entry);
  }
}

}  // namespace

uint32_t create_job(const Call &call, const JobRequest &request) {
  if (find_job(request.name) != nullptr) return SCH_STATUS_EXISTS;
  if (!forget_stale_statuses(call.context)) return control::err_not_stored;
  const int index = sch_first_empty_job_list_entry_index(&sch_running_config);
  if (index < 0) return control::err_job_table_full;
  const uint32_t owner = owner_tag(call.context.authority.owner(call.caller).uid);
  if (!has_share(call, owner)) return control::err_too_many_own_jobs;

  ConfigChange change;
  sch_job_entry *slot = add_job(request.name, owner, static_cast<uint32_t>(index));
  if (slot == nullptr) return host::err_no_memory;
  change.undo([slot] { remove_job(*slot); });
  change.save(*slot);
  return change.commit();
}

uint32_t define_job(const Call &call, const JobRequest &request) {
  if (request.text.size() > static_cast<size_t>(call.context.settings->job_text_bytes))
    return control::err_text_too_long;
  sch_job_entry *slot = nullptr;
  if (const uint32_t status = find_own_job(call, request.name, &slot); status != 0) return status;
  GList *fragments = nullptr;
  if (!make_fragments(request.text, &fragments)) return host::err_no_memory;

  ConfigChange change;
  sch_delete_job_entry_from_pss(pss_running, slot);  // the old text may have had more fragments
  GList *before = slot->fragments;
  change.undo([slot, before, fragments, length = slot->hdr->length] {
    slot->fragments = before;
    slot->hdr->length = length;
    free_fragments(fragments);
  });
  change.afterwards([before] { free_fragments(before); });
  slot->fragments = fragments;
  slot->hdr->length = static_cast<uint32_t>(request.text.size());
  change.save(*slot);
  return change.commit();
}

uint32_t delete_job(const Call &call, const JobRequest &request) {
  sch_job_entry *slot = nullptr;
  if (const uint32_t status = find_own_job(call, request.name, &slot); status != 0) return status;
  const uint32_t id = slot->hdr->job_id;

  ConfigChange change;
  remove_from_schedules(change, id);
  sch_delete_job_entry_from_pss(pss_running, slot);
  if (const uint32_t status = change.commit(); status != 0) return status;
  delete_statuses_of_job(call.context, *slot);
  remove_job(*slot);
  return 0;
}

}  // namespace service
