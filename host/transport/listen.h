// SPDX-License-Identifier: Apache-2.0
// The listening socket of the one service.
#pragma once

#include <string>

#include "host/files/file_descriptor.h"
#include "host/result.h"

namespace host {

// Open to every user, or else to the service's own user and root alone. What is no socket at `path` is left.
Result<FileDescriptor> listen_on(const std::string &path, bool every_user);

}  // namespace host
