// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>

namespace shell {

// Captures what is written to standard output or standard error during its lifetime. The library's handlers print by
// themselves; by this the shell can complete their messages or show only a part.
class HeldStream {
 public:
  explicit HeldStream(FILE *stream);  // if it cannot create the buffer's file, output is shown directly
  ~HeldStream();
  HeldStream(const HeldStream &) = delete;
  HeldStream &operator=(const HeldStream &) = delete;

  std::string take();  // ends the capture and returns the text

 private:
  void restore();

  FILE *stream_;
  int descriptor_;
  int held_ = -1, shown_ = -1;
};

}  // namespace shell
