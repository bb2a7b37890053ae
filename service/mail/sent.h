// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace service {

// How an attempt to send ended: the exit status of schedmail. The numbers are those of sysexits.h.
enum class Sent { sent = 0, later = 75, refused = 69 };

}  // namespace service
