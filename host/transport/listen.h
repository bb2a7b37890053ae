// SPDX-License-Identifier: Apache-2.0
// The listening socket of the one service.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "host/files/file_descriptor.h"

namespace host {

// Open to every user, or to `only_uid` alone. Empty on failure; `error` then says what, where and what to do.
FileDescriptor listen_on(const std::string &path, bool every_user, std::string *error);

}  // namespace host
