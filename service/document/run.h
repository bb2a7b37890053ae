// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "control/json.h"
#include "service/request/run_summary.h"

namespace service {

control::Json run_json(const RunSummary &run);

}  // namespace service
