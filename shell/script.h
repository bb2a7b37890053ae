// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>

#include "shell/session.h"

namespace shell {

// Feeds a file's or pipe's lines to the session until it is over, or fails where `stop_at_failure`. `name` begins the
// messages, with the line's number.
void run_script(Session &session, FILE *input, const std::string &name, bool stop_at_failure);

}  // namespace shell
