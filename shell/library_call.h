// SPDX-License-Identifier: Apache-2.0
// A command that one of the library's handlers carries out, with what the shell adds to it: of what a message is, that
// it is no failure to ask for what is there already, and a start that has passed.
#pragma once

#include "shell/session.h"

namespace shell {

int call_library(Session &session, const Match &match);

}  // namespace shell
