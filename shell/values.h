// SPDX-License-Identifier: Apache-2.0
// Checks values before anything is sent: a name that is too long would be cut in the request and mean another object.
#pragma once

#include <string>
#include <string_view>

#include "shell/grammar.h"

namespace shell {

// Why the command cannot have this value, as text that follows the value; empty if it can. In commands that remove
// something only the length is checked, as the object may have been created when the rules were others.
std::string objection_to(const Command &command, const Parameter &parameter, std::string_view value);

}  // namespace shell
