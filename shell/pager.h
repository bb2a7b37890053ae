// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <optional>

namespace shell {

// Pipes standard output through less during its lifetime.
class Pager {
 public:
  static std::optional<Pager> start();  // nullopt: standard output is no terminal, or there is no less
  Pager(Pager &&other) noexcept;
  ~Pager();

 private:
  Pager(pid_t child, int terminal) : child_(child), terminal_(terminal) {}

  pid_t child_;
  int terminal_;  // the original standard output; -1: moved from
};

}  // namespace shell
