// SPDX-License-Identifier: Apache-2.0
// The library's configuration text says nothing of disabled schedules, which are the service's own. Here each has a
// line behind it, as the command that disables it, so that a replay gives the same configuration.
#pragma once

#include <string>

namespace service {

std::string startup_configuration_text();
std::string stored_configuration_text();  // of the running store as it lies on disk, whatever is in use

}  // namespace service
