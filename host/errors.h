// SPDX-License-Identifier: Apache-2.0
// What statuses say to a person: platform/errors.h has the one call that everybody asks.
#pragma once

#include <cstdint>
#include <span>

#include "host/result.h"

namespace host {

struct ErrorText {
  uint32_t code;
  const char *text;
};

// The texts of a program's own codes, beside those of schedcli.h and host/status.h. Kept, not copied.
void use_error_texts(std::span<const ErrorText> texts);

Error error_of(uint32_t code);  // with its text

}  // namespace host
