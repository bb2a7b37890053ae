// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/result.h"

namespace shell {

// Reads a whole file, or standard input for "-". Refuses directories, devices, and input beyond a limit.
host::Result<std::string> read_whole(const std::string &path);

// Replaces a file atomically. Refuses anything but a regular file, and does not follow a symbolic link.
host::Result<void> write_whole(const std::string &path, const std::string &content);

}  // namespace shell
