// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace service {

// Tells the process that supervises this one ("READY=1", "STOPPING=1"), if it asked for it by NOTIFY_SOCKET.
void notify_supervisor(const char *state);

}  // namespace service
