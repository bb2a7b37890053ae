// SPDX-License-Identifier: Apache-2.0
// Small files that only their owner may read. They are written by create_whole_file.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "host/result.h"

namespace host {

// The whole of a file of at most `limit` bytes, or nothing when there is no such file; refuses what is not a regular
// file of this user's alone.
Result<std::optional<std::string>> read_private_file(const std::string &path, std::size_t limit);

}  // namespace host
