// SPDX-License-Identifier: Apache-2.0
// The texts of statuses. They are looked up by syserr2str() of platform/errors.h.
#pragma once

#include <cstdint>
#include <span>

#include "host/result.h"

namespace host {

struct ErrorText {
  uint32_t code;
  const char *text;
};

// The text in such a table; null: it has none for the code.
const char *find_text(std::span<const ErrorText> texts, uint32_t code);

// Adds the texts of a program's own codes to those of schedcli.h and host/status.h. The function returns null for other
// codes, and a text that holds until its next call.
using ErrorTextSource = const char *(*)(uint32_t code);
void use_error_texts(ErrorTextSource source);  // null: none

Error error_of(uint32_t code);  // with its text

}  // namespace host
