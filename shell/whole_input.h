// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/result.h"

namespace shell {

// All of a file, or of standard input for "-". A directory, a device and what does not end are refused.
host::Result<std::string> read_whole(const std::string &path);

// Replaces the file whole, or leaves it. What is no plain file is left alone, and a link is not followed.
host::Result<void> write_whole(const std::string &path, const std::string &content);

}  // namespace shell
