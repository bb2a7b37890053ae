// SPDX-License-Identifier: Apache-2.0
// Text into and out of a record's fields of fixed size, never read or written behind them.
#pragma once

#include <cstddef>
#include <cstring>

// Copies what fits, terminates it and zeroes the rest of the field, so that nothing older travels behind the text.
template <size_t Size>
void copy_text(char (&field)[Size], const char *text) {
  const size_t length = strnlen(text, Size - 1);
  std::memcpy(field, text, length);
  std::memset(field + length, 0, Size - length);
}

// NUL-padded like the fields of a record: a text as long as the field, or longer, leaves it without a terminator, as
// meant.
template <size_t Size>
void store_text(char (&field)[Size], const char *text) {
  std::memset(field, 0, Size);
  std::memcpy(field, text, strnlen(text, Size));
}

// The text of a field, where it stands; of one that is full to its last byte a copy with a terminator. A full name is
// kept whole: cut, it could be another's.
template <size_t Size>
class FieldText {
 public:
  explicit FieldText(const char (&field)[Size]) {
    if (strnlen(field, Size) < Size) {
      text = field;
    } else {
      std::memcpy(copy_, field, Size);
    }
  }
  FieldText(const FieldText &) = delete;
  FieldText &operator=(const FieldText &) = delete;

  const char *text = copy_;

 private:
  char copy_[Size + 1] = {};
};
