// SPDX-License-Identifier: Apache-2.0
// The configuration manager's side of platform/acfg.h: asks for a configuration and gives it as text.
#pragma once

#include <functional>
#include <string>

#include "platform/acfg.h"

namespace host {

enum class ConfigType { running = 1, startup = 2 };

// What the library's text leaves out, added in its form. `piece` sees each piece of text before it is taken, in the
// order in which the library writes them; what `end` gives stands behind everything. Both run while the globals are
// those of the configuration that is being written.
struct TextAmendment {
  std::function<void(std::string *piece)> piece;
  std::function<std::string()> end;
};

// Calls sch_acfgcb_cfg_gen and arranges the answer: elements by ascending priority, flagged lines indented by one
// blank, groups last. Keeps the process's live globals and the live e-mail list as they were (generation of the startup
// text overwrites them).
std::string configuration_text(ConfigType type, const TextAmendment &amendment = {});

// The same of what `write` gives to the handle, without the library's own order.
std::string written_text(const std::function<void(acfg_hdl *)> &write, const TextAmendment &amendment = {});

// Of the running store as it lies on disk, whatever is in use; empty where there is none.
std::string stored_running_text(const TextAmendment &amendment = {});

}  // namespace host
