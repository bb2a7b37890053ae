// SPDX-License-Identifier: Apache-2.0
#include "pss/restore_job.h"

#include "pss/fields.h"

namespace {

uint64_t held_bytes(const sch_job_entry &slot) {
  return uint64_t{g_list_length(slot.fragments)} * SCH_FRAGMENT_SIZE;
}

// The longest text that a new header may claim for the fragments that its slot holds already.
uint32_t longest_text(const sch_job_entry &slot) {
  if (slot.fragments == nullptr) return UINT32_MAX;
  if (slot.hdr == nullptr) return 0;
  return slot.hdr->length < held_bytes(slot) ? slot.hdr->length : UINT32_MAX;
}

void restore_header(sch_config_db *config, const pss_buf &raw_key, const pss_buf &value) {
  sch_job_hdr stored = {};
  copy_at_most(&stored, sizeof stored, value);
  sch_job_entry *slot = stored.job_id < SCH_MAX_JOBS ? &config->jobs[stored.job_id] : nullptr;
  const uint32_t longest = slot != nullptr ? longest_text(*slot) : 0;
  sch_add_config_entry(config, &raw_key, &value);
  if (slot != nullptr && slot->hdr != nullptr) slot->hdr->length = std::min(slot->hdr->length, longest);
}

// The next fragment ends the text when it is shorter than what the header makes readers expect of it.
void bound_length(sch_job_hdr &hdr, uint64_t before, uint32_t size) {
  const uint64_t expected = std::min<uint64_t>(hdr.length, before + SCH_FRAGMENT_SIZE);
  if (before + size < expected) hdr.length = static_cast<uint32_t>(before + size);
}

}  // namespace

void restore_job_record(sch_config_db *config, const sch_config_key &key, const pss_buf &raw_key,
                        const pss_buf &value) {
  if (key.fragment == 0) {
    restore_header(config, raw_key, value);
    return;
  }
  sch_job_entry *slot = nullptr;
  sch_find_job(config, Terminated(key.name).c_str(), &slot);
  if (slot != nullptr && slot->hdr != nullptr) bound_length(*slot->hdr, held_bytes(*slot), value.length);
  sch_add_config_entry(config, &raw_key, &value);
}
