// SPDX-License-Identifier: Apache-2.0
// What the one service holds while it runs: its state directory and its run directory.
#pragma once

#include <string>

#include "host/result.h"

namespace host {

// Makes the directories (0700; the run directory of a system-wide service 0755, as its socket is for every user), takes
// the lock of the one service on each, and brings a state directory of an older version to this one: once, with a copy
// of all that was there beside it. Harmless when it is called again. The locks end with the process.
Result<void> take_state_directory();

// What the version before this one kept is put here by the migration; empty: there was none in this process.
std::string old_state_kept_in();

}  // namespace host
