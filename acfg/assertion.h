// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace acfg {

// Writes the place and a backtrace of a failed assertion into the assertion log; the caller goes on.
void record_assertion(const char *file, const char *function, int line);

}  // namespace acfg
