// SPDX-License-Identifier: Apache-2.0
// Whole store files: one gets its name only when it is complete and on disk.
#pragma once

#include <cstdint>
#include <string>

namespace host {

// All of these want the directory's gate held for replacing.

// Where the next file of `path` is built; a left-over of a crash is removed.
uint32_t fresh_path(const std::string &path, std::string *fresh);
// Gives the synced file `fresh` the name `path`, instead of the store that has it, if any. That store must be sound,
// and no other process may have it open; handles of this process go on with the new file. On failure `fresh` is
// removed.
uint32_t replace_store(const std::string &path, const std::string &fresh);
uint32_t remove_store(const std::string &path);

}  // namespace host
