// SPDX-License-Identifier: Apache-2.0
// Outcomes whose record in the job log was overwritten by newer ones, as far as the history still has them.
#pragma once

#include <cstddef>

#include "service/joblog/joblog.h"

namespace service {

// Those after `log.shown_after()` that the log lacks and that match the filter; the newest `gone_limit` at most.
inline constexpr size_t gone_limit = 16384;
GoneOutcomes gone_outcomes(const JobLog &log, const LogFilter &filter);

}  // namespace service
