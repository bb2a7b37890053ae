// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <optional>

namespace shell {

// While it lives, standard output goes through less, which shows what fits on the screen at once and pages the rest.
class Pager {
 public:
  static std::optional<Pager> start();  // nullopt: standard output is no terminal, or there is no less
  Pager(Pager &&other) noexcept;
  ~Pager();

 private:
  Pager(pid_t child, int terminal) : child_(child), terminal_(terminal) {}

  pid_t child_;
  int terminal_;  // the standard output to return to; -1: moved from
};

}  // namespace shell
