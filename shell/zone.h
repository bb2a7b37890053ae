// SPDX-License-Identifier: Apache-2.0
// The zone that the shell lives in: one that never changes its clocks, with the offset that is in force at the service
// now. The library's handlers are exact there, and the service translates what comes from it and goes to it.
#pragma once

#include <cstdint>
#include <string>

namespace shell {

// As TZ has it: "<+0530>-5:30:00".
std::string fixed_zone(int32_t offset_s);

// Before a command is carried out: asks the service for its offset, and lives in it from then on. Asked at most once a
// second, so that a long script is not slowed down. Without an answer: this machine's present offset.
void follow_service_zone();

}  // namespace shell
