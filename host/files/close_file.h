// SPDX-License-Identifier: Apache-2.0
// For a std::unique_ptr of an open stream.
#pragma once

#include <cstdio>

namespace host {

struct CloseFile {
  void operator()(std::FILE *file) const { std::fclose(file); }
};

}  // namespace host
