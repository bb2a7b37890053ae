// SPDX-License-Identifier: Apache-2.0
#include "service/state/status_table.h"

#include <cstring>
#include <utility>

#include "host/text_field.h"
#include "platform/memory.h"
#include "service/state/open_table.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

struct ByJobAndSchedule {
  struct Key {
    uint32_t job_id;
    std::string_view schedule;
    bool operator==(const Key &) const = default;
  };
  static Key key(const GList &element) {
    const auto &status = *static_cast<const sch_runtime_job_status *>(element.data);
    return {status.job_id, host::text_in(status.schedule_name)};
  }
  static uint64_t hash(const Key &key) { return hash_of(key.schedule, key.job_id); }
};

OpenTable<GList, ByJobAndSchedule> statuses;

}  // namespace

void rebuild_status_table() {
  statuses.clear();
  for_each_job([](sch_job_entry &slot, uint32_t) {
    for (GList *element = slot.status_list; element != nullptr; element = element->next) {
      statuses.reserve_one();
      statuses.insert(*element);
    }
  });
}

GList *find_status_element(uint32_t job_id, std::string_view schedule) {
  return statuses.find({job_id, schedule});
}

// The library would walk to the end of the job's list: so it appends to an empty one, which is then put in front.
bool put_status(sch_job_entry &slot, const sch_runtime_job_status &status) {
  const auto [id, schedule] = ByJobAndSchedule::Key{status.job_id, host::text_in(status.schedule_name)};
  if (GList *known = find_status_element(id, schedule); known != nullptr) {
    *static_cast<sch_runtime_job_status *>(known->data) = status;
    return true;
  }
  statuses.reserve_one();
  void *entry = sch_malloc_check(sizeof status, SCH_MEMORY_JOB_STATUS, 0, "restore db");
  if (entry == nullptr) return false;
  std::memcpy(entry, &status, sizeof status);
  GList *others = std::exchange(slot.status_list, nullptr);
  sch_add_runtime_job_status_entry(&sch_running_config, static_cast<sch_runtime_job_status *>(entry));
  GList *added = slot.status_list;
  slot.status_list = g_list_concat(added, others);
  statuses.insert(*added);
  return true;
}

void remove_status(sch_job_entry &slot, GList *element) {
  statuses.remove(*element);
  mtrack_free(element->data);
  slot.status_list = g_list_delete_link(slot.status_list, element);
}

}  // namespace service
