// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/transport/transport.h"
#include "service/request/context.h"

namespace service {

// Answers one request: finds its row in the request table, checks it against the row, and calls its handler.
host::Answer dispatch(Context &context, const host::Incoming &incoming);

// Whether a request changes nothing and starts nothing, so that it may be answered in the midst of another's change.
bool only_reads(uint32_t service, Payload request);

}  // namespace service
