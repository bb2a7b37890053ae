// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "schedcli.h"

namespace acfg {

// The scheduler's line in the system logging configuration; none when its level is unknown or the default.
void add_logging_level(acfg_hdl *handle, pss_handle debug_store);

}  // namespace acfg
