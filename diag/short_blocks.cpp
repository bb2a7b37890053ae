// SPDX-License-Identifier: Apache-2.0
#include "diag/short_blocks.h"

#include <glib.h>

#include <cstring>

namespace {

// A block may be freed without this file being told, and another one be allocated at its address. So a note keeps a
// copy of the block's bytes, and counts only while the block at that address still begins with them.
GHashTable *notes = nullptr;  // block -> GBytes; null until the first damaged record

GBytes *note_of(const void *block) {
  return notes == nullptr ? nullptr : static_cast<GBytes *>(g_hash_table_lookup(notes, block));
}

void unref(void *bytes) {
  g_bytes_unref(static_cast<GBytes *>(bytes));
}

}  // namespace

void note_short_block(const void *block, uint32_t size) {
  if (notes == nullptr) notes = g_hash_table_new_full(nullptr, nullptr, nullptr, unref);
  GBytes *content = g_bytes_new(block, readable_of(block, size));
  g_hash_table_replace(notes, const_cast<void *>(block), content);
}

void forget_short_block(const void *block) {
  if (notes != nullptr) g_hash_table_remove(notes, block);
}

uint32_t readable_of(const void *block, uint32_t wanted) {
  GBytes *note = note_of(block);
  if (note == nullptr) return wanted;
  gsize size = 0;
  const void *content = g_bytes_get_data(note, &size);
  const bool is_short = size < wanted && (size == 0 || memcmp(block, content, size) == 0);
  return is_short ? static_cast<uint32_t>(size) : wanted;
}
