// SPDX-License-Identifier: Apache-2.0
// What schedsh is told when it is started.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "control/options.h"

namespace shell {

struct Arguments {
  std::vector<std::string> commands;
  std::optional<std::string> file, state_dir;
  bool stop_at_failure = false, debug = false, manual = false;
};

// Whatever is a secret in a command is overwritten in the process's own arguments, where everybody could read it.
control::Parsed parse_arguments(int argc, char **argv, Arguments *arguments);

}  // namespace shell
