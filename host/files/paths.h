// SPDX-License-Identifier: Apache-2.0
// Where this host keeps its files. One instance per process.
#pragma once

#include <string>

namespace host {

struct Paths {
  std::string state;         // stores, key file, job log, boot marker: 0700
  std::string run;           // socket, lock; others may remove it at any time, not only a boot
  std::string socket;        // run + "/schedd.sock"
  bool system_wide = false;  // serves every user; otherwise its owner alone
};

// The state directory is, in this order: `state_dir` (null: not given), the environment's SCHEDCLI_STATE_DIR,
// /var/lib/schedcli for root, $XDG_STATE_HOME/schedcli or ~/.local/state/schedcli for anyone else. The run directory is
// the environment's SCHEDCLI_RUN_DIR, <state>/run when the state directory was named (nobody else can reach a socket
// there), /run/schedcli for root, otherwise $XDG_RUNTIME_DIR/schedcli or <state>/run. system_wide: the effective user
// is root.
Paths resolve_paths(const char *state_dir);

// What a client uses when no directory was named: its user's own service where there is one, otherwise the system's.
Paths client_paths(const char *system_socket = "/run/schedcli/schedd.sock");

const Paths &paths();         // client_paths() at first use
void use_paths(Paths paths);  // replaces it; before any other call into the host

// The first directory above `path` that only its owner can enter; empty: there is none.
std::string closed_to_others(const std::string &path);

}  // namespace host
