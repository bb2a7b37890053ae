// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/result.h"
#include "shell/parse.h"

namespace shell {

// Completes a time as an operator writes it, and returns it as it follows "time " in a configuration. A time that has
// passed is accepted. `subject`: the command's words, such as "time daily". The error says why the text is not a time.
host::Result<std::string> time_text(const std::string &subject, const Match &match);

}  // namespace shell
