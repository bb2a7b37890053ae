// SPDX-License-Identifier: Apache-2.0
// The command line arguments of schedsh.
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

// Commands with passwords are overwritten in argv, which every user could read in the list of processes.
control::Parsed parse_arguments(int argc, char **argv, Arguments *arguments);

}  // namespace shell
