// SPDX-License-Identifier: Apache-2.0
#include "db/append.h"
#include "db/name.h"
#include "platform/memory.h"
#include "schedcli.h"

namespace {

sch_schedule_entry *schedule_at(GList *node) {
  return static_cast<sch_schedule_entry *>(node->data);
}

}  // namespace

int sch_add_schedule_entry(sch_config_db *config, sch_config_key *key, sch_schedule_rec *rec,
                           sch_schedule_entry **entry) {
  auto *added = static_cast<sch_schedule_entry *>(
      sch_malloc_check(sizeof(sch_schedule_entry), SCH_MEMORY_SCHEDULE, 0, "add schedule entry"));
  if (added == nullptr) {
    mtrack_free(key);
    mtrack_free(rec);
    return -1;
  }
  added->key = key;
  added->rec = rec;
  sch_append(config->schedules, added);
  *entry = added;
  return 0;
}

int sch_find_schedule(const sch_config_db *config, const char *name, sch_schedule_entry **entry) {
  *entry = nullptr;
  for (GList *node = g_list_first(*config->schedules); node != nullptr && *entry == nullptr; node = node->next)
    if (same_name(schedule_at(node)->key->name, name)) *entry = schedule_at(node);
  return 0;
}

void sch_free_schedule_entry(sch_config_db *config, GList *element) {
  sch_schedule_entry *entry = schedule_at(element);
  mtrack_free(entry->key);
  mtrack_free(entry->rec);
  *config->schedules = g_list_remove_link(*config->schedules, element);
  mtrack_free(entry);
  g_list_free_1(element);
}
