// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "control/options.h"
#include "service/config/settings_file.h"

namespace service {

struct Options {
  std::string state_dir;    // empty: the usual one
  std::string config_file;  // empty: the usual one, which need not be there
  bool check = false;       // say whether the settings are right, and end
  bool foreground = false;  // the system log's messages also on standard error
  int debug_level = 0;
  std::vector<std::pair<std::string, std::string>> settings;  // keys with values that override the file's
};

control::Parsed parse_options(int argc, char **argv, Options *options);

// Reads the file that the options name; settings that were given as options override it.
SettingsRead read_settings(const Options &options);

}  // namespace service
