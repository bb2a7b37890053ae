// SPDX-License-Identifier: Apache-2.0
// The listening socket of the one service.
#pragma once

#include <string>

#include "host/files/file_descriptor.h"
#include "host/result.h"

namespace host {

// For every user, or only for the service's own user and root. A file at `path` that is not a socket is left alone, and
// is an error.
Result<FileDescriptor> listen_on(const std::string &path, bool every_user);

}  // namespace host
