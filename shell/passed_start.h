// SPDX-License-Identifier: Apache-2.0
// A start that has passed when a saved configuration is read again.
#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "schedcli.h"
#include "shell/parse.h"

namespace shell {

class Session;

struct StartCheck {
  Match match;                 // with the start moved on, where it has passed
  bool nothing_to_do = false;  // the schedule has this time already, or it can have none
  std::optional<std::string> note;
};

// Anything but a schedule's start that was written out with its year, and has passed, comes back as it is.
StartCheck check_start(const Session &session, const Match &match);

// The first start after now that lies whole periods behind `start`.
time_t moved_on(time_t start, int32_t period_s, time_t now);

}  // namespace shell
