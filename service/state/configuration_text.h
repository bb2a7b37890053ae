// SPDX-License-Identifier: Apache-2.0
// Configuration text from the library with what it lacks: disabled schedules, which only the service knows. Each gets a
// line with the command that disables it, so that replaying the text gives the same configuration.
#pragma once

#include <string>

namespace service {

std::string startup_configuration_text();
std::string stored_configuration_text();  // of the running store on disk, whatever memory holds

}  // namespace service
