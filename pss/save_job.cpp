// SPDX-License-Identifier: Apache-2.0
// A job is a header and its text's fragments, each a record of its own under the job's key.
#include "db/fragment.h"
#include "diag/short_blocks.h"
#include "diag/trace.h"
#include "pss/fields.h"
#include "pss/save.h"

namespace {

constexpr SaveRule job_header = {"PSS error 0x%x while saving the job hdr %s", nullptr, true};
constexpr SaveRule job_fragment = {"PSS error 0x%x saving the job %s fragment %d", nullptr, true};
constexpr SaveRule only_fragment = {"PSS error 0x%x while saving the job fragment %s", nullptr, true};

int save_fragment(pss_handle store, const SaveRule &rule, const sch_job_entry &slot, const void *fragment,
                  uint32_t size) {
  ++slot.key->fragment;
  if (readable_of(fragment, size) == size) return save_record(store, rule, *slot.key, fragment, size);
  char whole[SCH_FRAGMENT_SIZE];
  copy_fragment(whole, fragment, size);
  return save_record(store, rule, *slot.key, whole, size);
}

// Fragments behind the text's end are not stored: the format knows none without text.
int save_fragments(pss_handle store, const sch_job_entry &slot) {
  uint32_t left = slot.hdr->length;
  for (const GList *node = slot.fragments; node != nullptr && left != 0; node = node->next) {
    const uint32_t size = std::min<uint32_t>(left, SCH_FRAGMENT_SIZE);
    if (save_fragment(store, job_fragment, slot, node->data, size) != 0) return -1;
    left -= size;
  }
  return 0;
}

}  // namespace

// The number in the slot's key is the counter of the loop and deliberately stays at the last fragment's.
int sch_save_job_entry_to_pss(pss_handle store, sch_job_entry *slot) {
  if (slot->key == nullptr || slot->hdr == nullptr) return -1;
  slot->key->fragment = 0;
  if (save_record(store, job_header, *slot->key, slot->hdr, sizeof *slot->hdr) != 0) return -1;
  const GList *first = g_list_first(slot->fragments);
  if (first == nullptr) return 0;
  if (slot->hdr->length > SCH_FRAGMENT_SIZE) return save_fragments(store, *slot);
  return save_fragment(store, only_fragment, *slot, first->data, slot->hdr->length);
}

int sch_delete_job_entry_from_pss(pss_handle store, const sch_job_entry *slot) {
  sch_config_key key = *slot->key;
  const FieldText name(key.name);
  key.fragment = 0;
  SCH_TRACE_SERVICE(trace_config, "pss delete job (%s) key entry", name.text);
  delete_record(store, key);
  const uint32_t count = g_list_length(slot->fragments);
  while (key.fragment < count) {
    ++key.fragment;
    SCH_TRACE_SERVICE(trace_config, "pss delete job (%s) fragment (%d)", name.text, key.fragment);
    delete_record(store, key);
  }
  return 0;
}
