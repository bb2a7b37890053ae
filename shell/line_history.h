// SPDX-License-Identifier: Apache-2.0
// The lines of earlier sessions, in a private file of the operator.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace shell {

inline constexpr size_t history_size = 500;  // lines

class LineHistory {
 public:
  explicit LineHistory(std::string path) : path_(std::move(path)) {}  // empty: nothing is kept

  std::vector<std::string> read() const;    // the newest lines, in their order; also shortens a file that has grown
  void add(const std::string &line) const;  // failures are ignored

 private:
  int open_file(int flags) const;

  std::string path_;
};

// $SCHEDSH_HISTORY, or a file below $XDG_STATE_HOME or ~/.local/state; empty if none of them is set.
std::string history_path();

}  // namespace shell
