// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "service/config/settings.h"

namespace service {

// Settings, or what is wrong with them: "FILE:LINE: what; what is allowed", a line each, in the order of the file.
struct SettingsRead {
  Settings settings;
  std::vector<std::string> problems;  // empty: the settings are whole and right
};

SettingsRead parse_settings(const std::string &text, const std::string &file);

// `must_exist` when the file was named by an option; otherwise a missing file means the defaults. A file that others
// may change is refused, as it decides what runs and as whom.
SettingsRead read_settings(const std::string &file, bool must_exist);

// /etc/schedcli/schedd.conf for root, otherwise the user's own under $XDG_CONFIG_HOME or ~/.config.
std::string usual_settings_file();

}  // namespace service
