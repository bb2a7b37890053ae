// SPDX-License-Identifier: Apache-2.0
// Texts in fields of a fixed size, padded with NULs. One that fills its field has no NUL behind it.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace host {

template <std::size_t size>
std::string_view text_in(const char (&field)[size]) {
  return {field, ::strnlen(field, size)};
}

// The field must be zero-filled. A text that does not fit with a NUL behind it is cut.
template <std::size_t size>
void put_text(std::string_view text, char (&field)[size]) {
  text.copy(field, size - 1);
}

}  // namespace host
