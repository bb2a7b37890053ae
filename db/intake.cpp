// SPDX-License-Identifier: Apache-2.0
// The way of a stored record into a configuration.
#include <algorithm>
#include <cstring>

#include "schedcli.h"

namespace {

constexpr uint32_t key_memory_type = 5;
constexpr uint32_t job_hdr_memory_type = 6;
constexpr uint32_t fragment_memory_type = 7;
constexpr uint32_t schedule_memory_type = 14;

void *record_of(const pss_buf *stored, uint32_t size, uint32_t mem_type, const char *purpose) {
  void *record = sch_malloc_check(size, mem_type, 0, purpose);
  const uint32_t length = std::min(size, stored->length);
  if (record != nullptr && length != 0) memcpy(record, stored->data, length);
  return record;
}

// A fragment carries no size: its job's header alone tells how much of it is read. So a value that is shorter than its
// header says is filled up with zero, and a header that comes behind its fragments does not lengthen their text.
uint64_t full_text(const sch_job_entry &slot) {
  return uint64_t{g_list_length(slot.fragments)} * SCH_FRAGMENT_SIZE;
}

uint32_t fragment_size(const sch_config_db *config, const sch_config_key *key, uint32_t length) {
  sch_job_entry *slot = nullptr;
  if (length >= SCH_FRAGMENT_SIZE || sch_find_job(config, key->name, &slot) < 0 || slot->hdr == nullptr) return length;
  const uint64_t before = full_text(*slot);
  if (before >= slot->hdr->length) return length;
  const uint64_t expected = std::min<uint64_t>(slot->hdr->length - before, SCH_FRAGMENT_SIZE);
  return std::max(length, static_cast<uint32_t>(expected));
}

uint32_t text_length(const sch_config_db *config, const sch_job_hdr *hdr) {
  if (hdr->job_id >= SCH_MAX_JOBS) return hdr->length;
  const sch_job_entry &slot = config->jobs[hdr->job_id];
  if (slot.hdr == nullptr || slot.hdr->length >= full_text(slot)) return hdr->length;
  return std::min(hdr->length, slot.hdr->length);
}

// Of what an add operation answers, nothing is reported: it has freed what it refused.
int add_schedule(sch_config_db *config, sch_config_key *key, const pss_buf *value) {
  void *rec = record_of(value, sizeof(sch_schedule_rec), schedule_memory_type, "add schedule entry");
  if (rec == nullptr) return -1;
  sch_schedule_entry *entry;
  sch_add_schedule_entry(config, key, static_cast<sch_schedule_rec *>(rec), &entry);
  return 0;
}

int add_job_hdr(sch_config_db *config, sch_config_key *key, const pss_buf *value) {
  void *record = record_of(value, sizeof(sch_job_hdr), job_hdr_memory_type, "add job entry");
  if (record == nullptr) return -1;
  auto *hdr = static_cast<sch_job_hdr *>(record);
  hdr->length = text_length(config, hdr);
  sch_job_entry *slot;
  sch_add_job_hdr(config, key, hdr, &slot);
  return 0;
}

int add_job_data(sch_config_db *config, sch_config_key *key, const pss_buf *value) {
  const uint32_t size = fragment_size(config, key, value->length);
  void *fragment = record_of(value, size, fragment_memory_type, "add job entry");
  if (fragment == nullptr) return -1;
  sch_job_entry *slot;
  sch_add_job_data(config, key, fragment, &slot);
  return 0;
}

}  // namespace

// The key is meant to stay allocated when its type is another or memory runs out after it.
int sch_add_config_entry(sch_config_db *config, const pss_buf *key, const pss_buf *value) {
  void *copy = record_of(key, sizeof(sch_config_key), key_memory_type, "add config entry");
  if (copy == nullptr) return -1;
  auto *entry_key = static_cast<sch_config_key *>(copy);
  sch_ntoh_config_key(entry_key);
  if (entry_key->type == SCH_CONFIG_SCHEDULE) return add_schedule(config, entry_key, value);
  if (entry_key->type != SCH_CONFIG_JOB) return 0;
  return entry_key->fragment == 0 ? add_job_hdr(config, entry_key, value) : add_job_data(config, entry_key, value);
}
