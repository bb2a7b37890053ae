// SPDX-License-Identifier: Apache-2.0
// Names in records: 32 bytes, whose terminator a damaged store may lack.
#pragma once

#include <cstddef>
#include <cstring>

inline constexpr size_t name_size = 32;

// `name` may itself be a record's field, hence nothing is read beyond the field's size.
inline bool same_name(const char (&field)[name_size], const char *name) {
  return strncmp(field, name, name_size) == 0;
}

template <size_t size>
bool begins_with(const char (&field)[size], const char *text) {
  const size_t length = strlen(text);
  return length <= size && strncmp(field, text, length) == 0;
}
