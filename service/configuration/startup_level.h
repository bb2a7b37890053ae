// SPDX-License-Identifier: Apache-2.0
// The logging level of the configuration that is saved for the start. It lies in a store of its own, which is saved
// before the configuration's: until that is done, the level that the earlier one had counts.
#pragma once

#include <cstdint>
#include <optional>

#include "host/result.h"

namespace service {

std::optional<int32_t> startup_logging_level();  // nothing: none is saved

// Before either store is saved: whatever becomes of the first one, the level stays as it is for as long as the second
// one is not replaced.
host::Result<void> hold_startup_logging_level();
void release_startup_logging_level();  // after both were saved

}  // namespace service
