// SPDX-License-Identifier: Apache-2.0
// Fixed-width fields of records and values: they need no terminator when full, and a value may have any length.
#pragma once

#include <algorithm>
#include <cstring>

#include "platform/pss.h"

// A longer value is cut, a shorter one leaves the rest of the record as it was.
inline void copy_at_most(void *record, size_t size, const pss_buf &value) {
  const size_t count = std::min<size_t>(size, value.length);
  if (count != 0) std::memcpy(record, value.data, count);
}

// NUL-padded; a text that fills the field is deliberately left without a terminator.
template <size_t size>
void store_text(char (&field)[size], const char *text) {
  std::memset(field, 0, size);
  std::memcpy(field, text, strnlen(text, size));
}

// A full field is not a C string; this copy of it is.
template <size_t size>
class Terminated {
 public:
  explicit Terminated(const char (&field)[size]) { std::memcpy(text_, field, size); }
  const char *c_str() const { return text_; }

 private:
  char text_[size + 1] = {};
};
