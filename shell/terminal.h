// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "shell/session.h"

namespace shell {

// Reads commands from the terminal, with editing, history, completion and '?', until the session or the input ends.
void run_terminal(Session &session);

bool is_secret(std::string_view line);  // may contain a password, and must not enter the history

}  // namespace shell
