// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <functional>
#include <string>

namespace shell {

// A private file of one's own, made or emptied, and on disk when it is done. A status; what failed is told.
int write_own_file(const std::string &path, const std::function<int(FILE *)> &write);

}  // namespace shell
