// SPDX-License-Identifier: Apache-2.0
// Carries out a command by one of the library's handlers. The shell completes messages with their subject, accepts a
// state that exists already, and moves on a start time that has passed.
#pragma once

#include "shell/session.h"

namespace shell {

int call_library(Session &session, const Match &match);

}  // namespace shell
