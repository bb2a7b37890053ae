// SPDX-License-Identifier: Apache-2.0
#include "service/state/job_text.h"

#include <cstring>
#include <utility>

#include "host/memory.h"
#include "platform/memory.h"

namespace service {

namespace {

// Whether the fragments have exactly the length that the header says.
bool is_whole(const sch_job_entry &slot) {
  size_t left = slot.hdr->length;
  for (const GList *node = slot.fragments; node != nullptr; node = node->next) {
    const size_t wanted = std::min<size_t>(left, SCH_FRAGMENT_SIZE);
    if (wanted == 0 || host::tracked_size(node->data) < wanted) return false;
    left -= wanted;
  }
  return left == 0;
}

}  // namespace

void free_fragments(GList *fragments) {
  g_list_foreach(fragments, free_fragment, nullptr);
  g_list_free(fragments);
}

bool make_fragments(std::string_view text, GList **fragments) {
  for (; !text.empty(); text.remove_prefix(std::min<size_t>(text.size(), SCH_FRAGMENT_SIZE))) {
    const size_t size = std::min<size_t>(text.size(), SCH_FRAGMENT_SIZE);
    void *fragment = sch_malloc_check(static_cast<uint32_t>(size), SCH_MEMORY_FRAGMENT, 0, "add job entry");
    if (fragment == nullptr) {
      free_fragments(*fragments);
      return false;
    }
    std::memcpy(fragment, text.data(), size);
    *fragments = g_list_append(*fragments, fragment);
  }
  return true;
}

bool make_text_whole(sch_job_entry &slot) {
  if (slot.hdr == nullptr || is_whole(slot)) return true;
  const size_t available = size_t{g_list_length(slot.fragments)} * SCH_FRAGMENT_SIZE;
  std::string text(std::min<size_t>(slot.hdr->length, available), '\0');
  sch_concat_fragments(slot.fragments, text.data(), static_cast<int32_t>(text.size()));
  GList *whole = nullptr;
  if (!make_fragments(text, &whole)) return false;
  free_fragments(std::exchange(slot.fragments, whole));
  slot.hdr->length = static_cast<uint32_t>(text.size());
  return true;
}

std::string job_text(const sch_job_entry &slot) {
  std::string text;
  for_each_piece(slot, [&](std::string_view piece) { text += piece; });
  return text;
}

}  // namespace service
