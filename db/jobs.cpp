// SPDX-License-Identifier: Apache-2.0
#include "db/append.h"
#include "db/job_names.h"
#include "db/name.h"
#include "db/text_field.h"
#include "diag/short_blocks.h"
#include "diag/trace.h"
#include "platform/memory.h"
#include "schedcli.h"

namespace {

int refuse(void *record) {
  mtrack_free(record);
  return -1;
}

int refuse(sch_config_key *key, void *record) {
  mtrack_free(key);
  return refuse(record);
}

void keep_first_key(sch_job_entry *slot, sch_config_key *key) {
  const FieldText name(key->name);
  if (slot->key != nullptr) {
    SCH_TRACE_SERVICE(trace_config, "job %s key already present, adding!", name.text);
    mtrack_free(key);
    return;
  }
  SCH_TRACE_SERVICE(trace_config, "job %s key added", name.text);
  slot->key = key;
}

}  // namespace

int sch_add_job_hdr(sch_config_db *config, sch_config_key *key, sch_job_hdr *hdr, sch_job_entry **slot) {
  if (hdr->job_id >= SCH_MAX_JOBS) {
    SCH_TRACE_SERVICE(trace_config, "invalid job id %d", static_cast<int>(hdr->job_id));
    return refuse(key, hdr);
  }
  sch_job_entry *found = &config->jobs[hdr->job_id];
  keep_first_key(found, key);
  note_slot_named(config, found);
  found->hdr = hdr;  // a header already there is meant to be left unfreed
  *slot = found;
  return 0;
}

// Fragments are kept in the order of their arrival, which is the order of the store's keys.
int sch_add_job_data(sch_config_db *config, sch_config_key *key, void *fragment, sch_job_entry **slot) {
  const int index = slot_named(config, key->name);
  if (index < 0) return refuse(key, fragment);
  SCH_TRACE_SERVICE(trace_config, "found job id %d", index);
  sch_job_entry *found = &config->jobs[index];
  mtrack_free(key);
  forget_short_block(fragment);
  const guint count = sch_append(&found->fragments, fragment);
  SCH_TRACE_SERVICE(trace_config, "job %s (%d) adding fragment %d", FieldText(found->key->name).text, index,
                    static_cast<int>(count));
  *slot = found;
  return 0;
}

int sch_add_runtime_job_status_entry(sch_config_db *config, sch_runtime_job_status *status) {
  if (status->job_id >= SCH_MAX_JOBS) return refuse(status);
  sch_job_entry *slot = &config->jobs[status->job_id];
  if (slot->key == nullptr) {
    SCH_TRACE_SERVICE(trace_status, "job key not present!");
    return refuse(status);
  }
  const guint count = sch_append(&slot->status_list, status);
  SCH_TRACE_SERVICE(trace_status, "adding status # %d for job %s", static_cast<int>(count),
                    FieldText(slot->key->name).text);
  return 0;
}

int sch_first_empty_job_list_entry_index(const sch_config_db *config) {
  for (int i = 0; i < SCH_MAX_JOBS; ++i) {
    if (config->jobs[i].key != nullptr) continue;
    SCH_TRACE_SERVICE(trace_config, "available job slot %d", i);
    return i;
  }
  return -1;
}

int sch_find_job(const sch_config_db *config, const char *name, sch_job_entry **slot) {
  const int index = slot_named(config, name);
  *slot = index < 0 ? nullptr : &config->jobs[index];
  return index;
}

sch_job_entry *sch_next_job(const sch_config_db *config, int *index) {
  for (int i = *index < 0 ? 0 : *index; i < SCH_MAX_JOBS; ++i) {
    if (config->jobs[i].key == nullptr) continue;
    *index = i;
    return &config->jobs[i];
  }
  *index = -1;
  return nullptr;
}
