// SPDX-License-Identifier: Apache-2.0
// A boot from the startup configuration leaves out what was only in the running one. It is kept, not lost.
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

// Writes what the stored running configuration has and the startup configuration has not, or has otherwise, as commands
// into a file of the state directory, each with its owner, and lists it in the system log. Before the running
// configuration is dropped; an error says why it must not be.
host::Result<void> keep_what_a_boot_leaves_out(time_t now);

}  // namespace service
