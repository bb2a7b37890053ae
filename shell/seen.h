// SPDX-License-Identifier: Apache-2.0
// What an operator saw of a job or schedule before changing it, and what others have changed since.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/result.h"
#include "shell/context.h"

namespace shell {

using SeenJob = std::optional<std::string>;  // its text; none: there was no such job

host::Result<SeenJob> job_in_use(const Identity &identity, const std::string &job);

// None if the two are the same; otherwise a sentence if the job came or went, and the difference of its block.
std::optional<std::string> change_since(const std::string &job, const SeenJob &seen, const SeenJob &now);

// The schedule's block as in a configuration.
host::Result<std::string> schedule_in_use(const Identity &identity, const std::string &schedule);

}  // namespace shell
