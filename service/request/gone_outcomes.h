// SPDX-License-Identifier: Apache-2.0
// Outcomes whose record in the job log has made room for newer ones, as the history still has them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "service/joblog/joblog.h"

namespace service {

// Those after `log.shown_after()` that the log lacks: of one owner's schedules, or of all; with a name, those of the
// schedule or job of that name. The newest `gone_limit` at most.
inline constexpr size_t gone_limit = 16384;
GoneOutcomes gone_outcomes(const JobLog &log, std::optional<uint32_t> owner_tag, const std::string &name);

}  // namespace service
