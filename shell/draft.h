// SPDX-License-Identifier: Apache-2.0
// A private file with a text that an operator edits or would lose.
#pragma once

#include <string>

namespace shell {

class Draft {
 public:
  explicit Draft(const std::string &text);
  ~Draft();  // removes the file unless it is to be kept
  Draft(const Draft &) = delete;
  Draft &operator=(const Draft &) = delete;

  const std::string &path() const { return path_; }  // empty: it could not be made
  std::string text() const;
  void keep(const char *why);  // tells the operator why, and where the text is

 private:
  std::string path_;
};

}  // namespace shell
