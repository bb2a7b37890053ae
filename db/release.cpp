// SPDX-License-Identifier: Apache-2.0
#include "diag/short_blocks.h"
#include "platform/memory.h"
#include "schedcli.h"

namespace {

void free_list(GList *list) {
  g_list_foreach(list, free_fragment, nullptr);
  g_list_free(list);
}

}  // namespace

void free_fragment(void *fragment, void *) {
  forget_short_block(fragment);
  mtrack_free(fragment);
}

void sch_free_job_entry(sch_job_entry *slot) {
  mtrack_free(slot->key);
  mtrack_free(slot->hdr);
  free_list(slot->fragments);
  free_list(slot->status_list);
  *slot = {};
}

void sch_free_config(sch_config_db *config) {
  for (int i = 0; i < SCH_MAX_JOBS; ++i)
    if (config->jobs[i].key != nullptr) sch_free_job_entry(&config->jobs[i]);
  while (GList *first = g_list_first(*config->schedules))
    sch_free_schedule_entry(config, first);
}
