// SPDX-License-Identifier: Apache-2.0
// Changes the configuration as a whole: shows the difference, and reports problems with their line numbers.
#pragma once

#include <string>

#include "control/configuration.h"
#include "shell/configuration_text.h"

namespace shell {

class Session;

enum class ChangeMode {
  apply,
  check,
  diff
};  // check: a dry run, status 2 if it would change something; diff: shows it

inline constexpr int differs_status = 2;

struct WantedChange {
  control::ConfigurationOrder order = {};
  std::string command;
  ChangeMode mode = ChangeMode::apply;
  bool shows_difference = true;
};

int change_configuration(Session &session, const WantedChange &change);

// The same, to a text that the operator wrote. `origin` precedes line numbers in messages.
int change_to_text(Session &session, const ConfigurationText &text, const std::string &origin, WantedChange change);

}  // namespace shell
