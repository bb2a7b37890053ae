// SPDX-License-Identifier: Apache-2.0
// Enters a stored record into a configuration.
#include <algorithm>
#include <cstring>

#include "diag/short_blocks.h"
#include "schedcli.h"

namespace {

void *record_of(const pss_buf *stored, uint32_t size, uint32_t mem_type, const char *purpose) {
  void *record = sch_malloc_check(size, mem_type, 0, purpose);
  const uint32_t length = std::min(size, stored->length);
  if (record != nullptr && length != 0) memcpy(record, stored->data, length);
  return record;
}

// The bytes that the job's header announces for the fragment at this position; without a header, a full fragment's.
uint32_t announced(const sch_job_hdr *hdr, guint place) {
  if (hdr == nullptr) return SCH_FRAGMENT_SIZE;
  const uint64_t before = uint64_t{place} * SCH_FRAGMENT_SIZE;
  if (before >= hdr->length) return 0;
  return static_cast<uint32_t>(std::min<uint64_t>(hdr->length - before, SCH_FRAGMENT_SIZE));
}

// The fragments were allocated by the length that the earlier header announced. A later header may announce more, which
// must not be read from them.
void bound_fragments(const sch_job_entry &slot, const sch_job_hdr *before) {
  guint place = 0;
  for (const GList *node = slot.fragments; node != nullptr; node = node->next, ++place) {
    const uint32_t known = announced(before, place);
    if (known < announced(slot.hdr, place)) note_short_block(node->data, known);
  }
}

// The add function's result is ignored: it has freed what it refused, and a refused record is no failure here.
int add_schedule(sch_config_db *config, sch_config_key *key, const pss_buf *value) {
  void *rec = record_of(value, sizeof(sch_schedule_rec), SCH_MEMORY_SCHEDULE, "add schedule entry");
  if (rec == nullptr) return -1;
  sch_schedule_entry *entry;
  sch_add_schedule_entry(config, key, static_cast<sch_schedule_rec *>(rec), &entry);
  return 0;
}

int add_job_hdr(sch_config_db *config, sch_config_key *key, const pss_buf *value) {
  void *record = record_of(value, sizeof(sch_job_hdr), SCH_MEMORY_JOB_HEADER, "add job entry");
  if (record == nullptr) return -1;
  auto *hdr = static_cast<sch_job_hdr *>(record);
  const sch_job_hdr *before = hdr->job_id < SCH_MAX_JOBS ? config->jobs[hdr->job_id].hdr : nullptr;
  sch_job_entry *slot;
  if (sch_add_job_hdr(config, key, hdr, &slot) == 0) bound_fragments(*slot, before);
  return 0;
}

int add_job_data(sch_config_db *config, sch_config_key *key, const pss_buf *value) {
  void *fragment = record_of(value, value->length, SCH_MEMORY_FRAGMENT, "add job entry");
  if (fragment == nullptr) return -1;
  sch_job_entry *slot;
  if (sch_add_job_data(config, key, fragment, &slot) != 0 || value->length >= SCH_FRAGMENT_SIZE) return 0;
  const guint place = g_list_length(slot->fragments) - 1;
  if (value->length < announced(slot->hdr, place)) note_short_block(fragment, value->length);
  return 0;
}

}  // namespace

// The copy of the key is not freed, on purpose, when its type is unknown or memory runs out later: the public header
// says so.
int sch_add_config_entry(sch_config_db *config, const pss_buf *key, const pss_buf *value) {
  void *copy = record_of(key, sizeof(sch_config_key), SCH_MEMORY_KEY, "add config entry");
  if (copy == nullptr) return -1;
  auto *entry_key = static_cast<sch_config_key *>(copy);
  sch_ntoh_config_key(entry_key);
  if (entry_key->type == SCH_CONFIG_SCHEDULE) return add_schedule(config, entry_key, value);
  if (entry_key->type != SCH_CONFIG_JOB) return 0;
  return entry_key->fragment == 0 ? add_job_hdr(config, entry_key, value) : add_job_data(config, entry_key, value);
}
