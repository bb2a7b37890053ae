// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace acfg {

// Leaves place and backtrace of a broken assumption in the assertion log; the caller goes on.
void record_assertion(const char *file, const char *function, int line);

}  // namespace acfg
