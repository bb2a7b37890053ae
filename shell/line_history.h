// SPDX-License-Identifier: Apache-2.0
// The lines that were typed in earlier sessions, in a private file of the operator's.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace shell {

inline constexpr size_t history_size = 500;  // lines

class LineHistory {
 public:
  explicit LineHistory(std::string path) : path_(std::move(path)) {}  // empty: nothing is kept

  std::vector<std::string> read() const;    // the newest, oldest first; makes the file shorter when it has grown
  void add(const std::string &line) const;  // where it cannot be written, the session goes on without it

 private:
  int open_file(int flags) const;

  std::string path_;
};

// $SCHEDSH_HISTORY, or below $XDG_STATE_HOME or ~/.local/state; empty: there is no place.
std::string history_path();

}  // namespace shell
