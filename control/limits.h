// SPDX-License-Identifier: Apache-2.0
// The limits that are settings of the service: their defaults, and what a service tells of those in use.
#pragma once

#include <cstdint>

#include "schedcli_requests.h"

namespace control {

struct ConfiguredLimits {
  // Of all users together and of one user, so that nobody uses up everybody's share. Changes do not get slower with
  // more schedules, but listings, starts and the store grow.
  uint32_t schedules = 10000;
  uint32_t schedules_per_user = 1000;
  uint32_t jobs_per_user = 64;                               // a quarter of the table
  uint32_t job_text = SCH_JOB_TEXT_LIMIT;                    // bytes
  uint32_t log_size = SCH_LOG_SIZE_MAX / SCH_LOG_SIZE_UNIT;  // the largest that an operator may set, in KiB
};

}  // namespace control
