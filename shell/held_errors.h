// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace shell {

// While it lives, what is written to standard error is kept instead of shown. The library's handlers write their
// messages themselves; this lets the shell say of what they are, or that there is nothing to complain of.
class HeldErrors {
 public:
  HeldErrors();  // where the system has no room for it, messages are shown as they come
  ~HeldErrors();
  HeldErrors(const HeldErrors &) = delete;
  HeldErrors &operator=(const HeldErrors &) = delete;

  std::string take();  // ends the holding

 private:
  void restore();

  int held_ = -1, shown_ = -1;
};

}  // namespace shell
