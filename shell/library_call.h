// SPDX-License-Identifier: Apache-2.0
// Carries out a command by one of the library's handlers. The shell completes messages with their subject, accepts a
// state that exists already, and moves on a start time that has passed.
#pragma once

#include <string>

#include "shell/session.h"

namespace shell {

int call_library(Session &session, const Match &match);

// Inserts the subject into messages that have none, such as "Error: : not permitted".
std::string with_subject(const std::string &messages, const std::string &subject);

}  // namespace shell
