// SPDX-License-Identifier: Apache-2.0
// Start times that have passed by the time when a saved configuration is replayed.
#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "schedcli.h"
#include "shell/parse.h"

namespace shell {

class Session;

struct StartCheck {
  Match match;         // with the start moved on if it has passed
  bool nothing_to_do;  // the schedule has this time already, or the time is skipped
  std::optional<std::string> note;
};

// Changes only start times that are written with their year and have passed; any other command is returned unchanged.
StartCheck check_start(const Session &session, const Match &match);

// The first moment after now that is a whole number of periods after `start`.
time_t moved_on(time_t start, int32_t period_s, time_t now);

}  // namespace shell
