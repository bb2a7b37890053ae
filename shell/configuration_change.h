// SPDX-License-Identifier: Apache-2.0
// A configuration that is changed as a whole: what differs is shown, problems are told by their lines.
#pragma once

#include <string>

#include "control/configuration.h"
#include "shell/configuration_text.h"

namespace shell {

class Session;

enum class ChangeMode { apply, check, diff };  // check: status 2 where something differs; diff: it is shown alone

inline constexpr int differs_status = 2;

struct WantedChange {
  control::ConfigurationOrder order = {};
  std::string command;
  ChangeMode mode = ChangeMode::apply;
  bool shows_difference = true;
};

int change_configuration(Session &session, const WantedChange &change);

// The same with a text. `origin` goes before the number of a line in messages.
int change_to_text(Session &session, const ConfigurationText &text, const std::string &origin, WantedChange change);

}  // namespace shell
