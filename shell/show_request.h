// SPDX-License-Identifier: Apache-2.0
// One job or schedule as the service shows it, by the request that the library's show handlers send.
#pragma once

#include <cstdint>
#include <string>

#include "host/result.h"
#include "host/transport/transport.h"
#include "shell/context.h"

namespace shell {

// `opcode`: SCH_OP_SHOW_JOB or SCH_OP_SHOW_SCHEDULE. The reply; empty if there is none of that name.
host::Result<host::Bytes> show_by_name(const Identity &identity, uint32_t opcode, const std::string &name);

}  // namespace shell
