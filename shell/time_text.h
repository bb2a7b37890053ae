// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "shell/parse.h"

namespace shell {

// A schedule's time as the configuration's text has it behind "time ", with what was left out completed; one that has
// passed too. `subject`: the command's words, "time daily". A problem says why the text is no time.
std::string time_text(const std::string &subject, const Match &match, std::string *problem);

}  // namespace shell
