// SPDX-License-Identifier: Apache-2.0
// The configuration manager's side of platform/acfg.h: asks for a configuration and gives it as text.
#pragma once

#include <string>

#include "schedcli.h"

namespace host {

enum class ConfigType { running = 1, startup = 2 };

// Calls sch_acfgcb_cfg_gen and arranges the answer: elements by ascending priority, flagged lines indented by one
// blank, groups last. Keeps the process's live globals and the live e-mail list as they were (generation of the startup
// text overwrites them).
std::string configuration_text(ConfigType type);

// The text of the running store as it is on disk, whatever memory holds; empty where there is none.
std::string stored_running_text();

// The library restores any store into the process's live globals. An object of this class saves them, sets the defaults
// (a setting that the other store lacks must not appear with the live value), and restores them at its end.
class LiveGlobals {
 public:
  LiveGlobals();
  ~LiveGlobals();
  LiveGlobals(const LiveGlobals &) = delete;
  LiveGlobals &operator=(const LiveGlobals &) = delete;

 private:
  sch_log_file_rec log_file_;
  sch_email_transport transport_;
  int32_t enabled_;
  GList *emails_;
};

}  // namespace host
