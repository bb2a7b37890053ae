// SPDX-License-Identifier: Apache-2.0
// The state directory and the run directory, which the service locks while it runs.
#pragma once

#include "host/result.h"

namespace host {

// Makes the directories (0700; the run directory of a system-wide service 0755, as its socket is for every user), takes
// an exclusive lock on each, and migrates a state directory of an older version, after a copy of all that was in it.
// May be called again. The locks are held until the process ends.
Result<void> take_state_directory();

}  // namespace host
