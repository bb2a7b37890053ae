// SPDX-License-Identifier: Apache-2.0
// The scheduler's logging level, kept in the debug stores.
#pragma once

#include <cstdint>

#include "schedcli.h"

namespace service {

inline constexpr int32_t default_logging_level = 5;

int32_t logging_level(pss_handle debug_store);  // the default when none is stored
uint32_t store_logging_level(pss_handle debug_store, int32_t level);

void apply_logging_level();  // of the running store, to the messages that are sent to the system log from now on

}  // namespace service
