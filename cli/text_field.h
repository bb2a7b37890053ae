// SPDX-License-Identifier: Apache-2.0
// Text between fields of fixed size: always terminated, never read behind its field.
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
