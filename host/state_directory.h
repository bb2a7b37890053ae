// SPDX-License-Identifier: Apache-2.0
// The state directory and the run directory, which the service locks while it runs.
#pragma once

#include <string>

#include "host/result.h"

namespace host {

// Makes the directories (0700; the run directory of a system-wide service 0755, as its socket is for every user), takes
// an exclusive lock on each, and migrates a state directory of an older version, after a copy of all that was in it.
// May be called again. The locks are held until the process ends.
Result<void> take_state_directory();

// Where this process's migration has put the copy of the older version's state; empty: it migrated nothing.
std::string old_state_kept_in();

}  // namespace host
