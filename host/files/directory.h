// SPDX-License-Identifier: Apache-2.0
// Directories that hold what only this user may change.
#pragma once

#include <string>

namespace host {

// Nobody else can change what is in `path`. False: `error` says what is wrong and what to do, and errno is
// ENOENT for a missing directory and EPERM for one that others can change.
bool is_private_directory(const std::string &path, std::string *error);

// The same, but makes a missing directory and its missing parents, each 0700 whatever the umask, and durable.
bool make_private_directory(const std::string &path, std::string *error);

// Entries made, renamed and removed in `path` so far survive a crash. False: errno.
bool sync_directory(const std::string &path);

std::string parent_directory(const std::string &path);

}  // namespace host
