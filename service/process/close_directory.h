// SPDX-License-Identifier: Apache-2.0
// For a std::unique_ptr of an open directory.
#pragma once

#include <dirent.h>

namespace service {

struct CloseDirectory {
  void operator()(DIR *directory) const { closedir(directory); }
};

}  // namespace service
