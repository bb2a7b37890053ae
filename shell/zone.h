// SPDX-License-Identifier: Apache-2.0
// The shell's time zone: one without summer time, with the present offset of the service's zone. There the library's
// handlers compute times correctly; the service translates times in requests and replies.
#pragma once

#include <cstdint>
#include <string>

namespace shell {

// As a value for TZ: "<+0530>-5:30:00".
std::string fixed_zone(int32_t offset_s);

// To be called before each command: asks the service for its offset and sets the process's zone, at most once a second
// so that a long script is not slowed down. Without an answer it takes the present offset of the machine's zone.
void follow_service_zone();

}  // namespace shell
