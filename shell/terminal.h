// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "shell/session.h"

namespace shell {

// Editing, history, completion and '?' on the terminal, until the session is over or the input ends.
void run_terminal(Session &session);

std::optional<std::string> ask_without_echo(const char *prompt);  // nullopt: given up

bool is_secret(std::string_view line);  // may carry a password and must not enter the history

}  // namespace shell
