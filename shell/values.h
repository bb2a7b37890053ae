// SPDX-License-Identifier: Apache-2.0
// What a value must be like before anything is sent: too long, it would be cut on its way and mean another object.
#pragma once

#include <string>
#include <string_view>

#include "shell/grammar.h"

namespace shell {

// Why the command cannot have this value, to follow the value itself; empty: it can. What is to be removed is looked at
// for its length alone: it may come from a time with other rules.
std::string objection_to(const Command &command, const Parameter &parameter, std::string_view value);

}  // namespace shell
