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

// Adds the texts of a program's own codes to those of schedcli.h and host/status.h. The span is kept, not copied.
void use_error_texts(std::span<const ErrorText> texts);

Error error_of(uint32_t code);  // with its text

}  // namespace host
