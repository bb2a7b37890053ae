// SPDX-License-Identifier: Apache-2.0
#include "diag/short_blocks.h"

#include <glib.h>

#include <algorithm>

namespace {

GHashTable *sizes = nullptr;  // block -> size + 1; null until a store is found damaged

}  // namespace

void note_short_block(const void *block, uint32_t size) {
  if (sizes == nullptr) sizes = g_hash_table_new(nullptr, nullptr);
  const uint32_t kept = readable_of(block, size);
  g_hash_table_insert(sizes, const_cast<void *>(block), GUINT_TO_POINTER(kept + 1));
}

void forget_short_block(const void *block) {
  if (sizes != nullptr) g_hash_table_remove(sizes, block);
}

uint32_t readable_of(const void *block, uint32_t wanted) {
  const void *noted = sizes == nullptr ? nullptr : g_hash_table_lookup(sizes, block);
  return noted == nullptr ? wanted : std::min(wanted, GPOINTER_TO_UINT(noted) - 1);
}
