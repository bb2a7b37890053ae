// SPDX-License-Identifier: Apache-2.0
// Whole store files: one gets its name only when it is complete and on disk.
#pragma once

#include <cstdint>
#include <string>

#include "host/result.h"

namespace host {

// All of these want the directory's gate held for replacing.

// Where the next file of `path` is built; a left-over of a crash is removed.
Result<std::string> fresh_path(const std::string &path);
// Gives the synced file `fresh` the name `path`, instead of the store that has it, if any. That store must be sound,
// and no other process may have it open; handles of this process go on with the new file. On failure `fresh` is
// removed.
Result<void> replace_store(const std::string &path, const std::string &fresh);
Result<void> remove_store(const std::string &path);

}  // namespace host
