// SPDX-License-Identifier: Apache-2.0
#include "diag/fragment_sizes.h"

#include <glib.h>

#include <algorithm>

namespace {

GHashTable *const sizes = g_hash_table_new(nullptr, nullptr);

}  // namespace

// A block of another type at a noted address: that fragment went back to the tracker behind our back.
void sch_note_block(const void *block, uint32_t mem_type, uint32_t size) {
  if (mem_type == fragment_memory_type)
    g_hash_table_insert(sizes, const_cast<void *>(block), GUINT_TO_POINTER(size));
  else
    sch_forget_fragment(block);
}

void sch_forget_fragment(const void *fragment) {
  g_hash_table_remove(sizes, fragment);
}

uint32_t sch_fragment_bytes(const void *fragment, uint32_t wanted) {
  void *size = nullptr;
  if (g_hash_table_lookup_extended(sizes, fragment, nullptr, &size) == 0) return wanted;
  return std::min(wanted, static_cast<uint32_t>(GPOINTER_TO_UINT(size)));
}
