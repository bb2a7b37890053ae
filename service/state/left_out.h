// SPDX-License-Identifier: Apache-2.0
// A boot from the startup configuration drops what only the running one has. This writes that to a file first.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "host/result.h"

namespace service {

// A job, a schedule or a line of settings in the configuration's text.
struct ConfigurationBlock {
  std::string name;  // "job NAME", "schedule NAME", or the line itself
  std::string text;  // whole lines
};
std::vector<ConfigurationBlock> blocks_of(const std::string &configuration);

// Writes the blocks of the stored running configuration that the startup configuration lacks or has otherwise, as
// commands with their owners, into a file of the state directory, and lists them in the system log. To be called before
// the running configuration is dropped, which must not happen after an error.
host::Result<void> keep_what_a_boot_leaves_out(time_t now);

}  // namespace service
