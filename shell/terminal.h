// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "shell/session.h"

namespace shell {

// Editing, history, completion and '?' on the terminal, until the session is over or the input ends.
void run_terminal(Session &session);

bool is_secret(std::string_view line);  // may carry a password and must not enter the history

}  // namespace shell
