// SPDX-License-Identifier: Apache-2.0
// What jobs printed, byte for byte, for a file: no terminal is to get it.
#pragma once

#include "service/request/context.h"

namespace service {

// `payload`: u64, a run's number: its outputs alone, one job's after the other; or 0: the log, with a line before each.
host::Answer raw_output(const Call &call, Payload payload);

}  // namespace service
