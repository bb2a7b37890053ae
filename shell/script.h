// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>

#include "shell/session.h"

namespace shell {

// Feeds the lines of a file or pipe to the session, until it is over or, with `stop_at_failure`, a command fails.
// `name` and the line's number precede messages.
void run_script(Session &session, FILE *input, const std::string &name, bool stop_at_failure);

}  // namespace shell
