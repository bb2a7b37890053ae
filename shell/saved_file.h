// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <functional>
#include <string>

namespace shell {

// Creates or truncates a private file of the caller's own, has `write` fill it, and syncs it and its name. Returns a
// status, which is reported.
int write_own_file(const std::string &path, const std::function<int(FILE *)> &write);

}  // namespace shell
