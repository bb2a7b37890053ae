// SPDX-License-Identifier: Apache-2.0
// The job log's settings.
#pragma once

#include "service/request/context.h"

namespace service {

uint32_t resize_log(const Call &call, const LogRequest &request);  // keeps the newest records that fit
uint32_t rename_log(const Call &call, const LogRequest &request);  // moves the log; never onto a file that is there
uint32_t clear_log(const Call &call);
host::Answer show_log_config(const Call &call);

}  // namespace service
