// SPDX-License-Identifier: Apache-2.0
// Calls of the system that fail, or do less than they were asked for, where a test says so.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace files_test {

struct Trouble {
  std::string call, path;  // of the file or directory that the call is made for
  int error = 0;
  int times = 1;  // then the call is made
};

extern Trouble trouble;
extern std::size_t most_at_once;         // that a read or a write takes; 0: any number
extern std::vector<std::string> synced;  // the paths of what was, in order

class FailingCalls {
 public:
  FailingCalls() = default;
  ~FailingCalls();  // everything is as usual again
  FailingCalls(const FailingCalls &) = delete;
  FailingCalls &operator=(const FailingCalls &) = delete;
};

}  // namespace files_test
