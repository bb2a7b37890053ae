// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>

namespace shell {

// While it lives, what is written to standard output or standard error is kept instead of shown. The library's handlers
// write by themselves; this lets the shell say of what a message is, or show a part of what they say.
class HeldStream {
 public:
  explicit HeldStream(FILE *stream);  // where the system has no room for it, it is shown as it comes
  ~HeldStream();
  HeldStream(const HeldStream &) = delete;
  HeldStream &operator=(const HeldStream &) = delete;

  std::string take();  // ends the holding

 private:
  void restore();

  FILE *stream_;
  int descriptor_;
  int held_ = -1, shown_ = -1;
};

}  // namespace shell
