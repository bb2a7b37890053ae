// SPDX-License-Identifier: Apache-2.0
// The configuration manager's side of platform/acfg.h: asks for a configuration and gives it as text.
#pragma once

#include <string>

namespace host {

enum class ConfigType { running = 1, startup = 2 };

// Calls sch_acfgcb_cfg_gen and arranges the answer: elements by ascending priority, flagged lines indented by one
// blank, groups last. Keeps the process's live globals and the live e-mail list as they were (generation of the startup
// text overwrites them).
std::string configuration_text(ConfigType type);

// Of the running store as it lies on disk, whatever is in use; empty where there is none.
std::string stored_running_text();

}  // namespace host
