// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "cli/named_object.h"

// The command text follows; each of its lines ends in a newline, and no terminator is counted.
struct JobPayload {
  NamedPayload head;
  uint32_t reserved;
  uint32_t text_length;
};
static_assert(sizeof(JobPayload) == 48);
