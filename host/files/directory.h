// SPDX-License-Identifier: Apache-2.0
// Directories that hold what only this user may change.
#pragma once

#include <string>

#include "host/result.h"

namespace host {

// Whether nobody else can change what is in `path`: err_absent for a missing directory, err_not_permitted for one that
// others can change.
Result<void> check_private_directory(const std::string &path);

// The same, but makes a missing directory and its missing parents, each 0700 whatever the umask, and durable.
Result<void> make_private_directory(const std::string &path);

// Afterwards the entries that were created, renamed and removed in `path` survive a crash. False: errno says why not.
bool sync_directory(const std::string &path);

std::string parent_directory(const std::string &path);

}  // namespace host
