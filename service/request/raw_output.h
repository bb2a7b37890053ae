// SPDX-License-Identifier: Apache-2.0
// What jobs printed, byte for byte. For files only: unlike the log's listing it is not made safe for a terminal.
#pragma once

#include "service/request/context.h"

namespace service {

// `payload`: u64, a run's number, for its jobs' outputs one after the other; or 0 for the whole log, with a heading
// line before each output.
host::Answer raw_output(const Call &call, Payload payload);

}  // namespace service
