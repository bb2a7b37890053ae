// SPDX-License-Identifier: Apache-2.0
// Replacing whole store files: a new file gets its name only when it is complete and on disk.
#pragma once

#include <cstdint>
#include <string>

#include "host/result.h"

namespace host {

// For all of these the directory's gate must be held for replacing.

// The path at which a new file for `path` is built. Removes what a crash has left there.
Result<std::string> fresh_path(const std::string &path);
// Renames the synced file `fresh` to `path`, in place of the store there, if any. That store must not be damaged, and
// no other process may have it open; handles of this process go on with the new file. On failure `fresh` is removed.
Result<void> replace_store(const std::string &path, const std::string &fresh);
Result<void> remove_store(const std::string &path);

}  // namespace host
