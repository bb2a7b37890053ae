// SPDX-License-Identifier: Apache-2.0
// A command line cut into words.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace shell {

struct Token {
  std::string text;   // without its quotes
  size_t offset = 0;  // of its first byte in the line, a quote included
};

// Words are separated by blanks; one that begins with a double quote ends at the next and may hold blanks. A quote that
// is not closed reaches to the end of the line.
std::vector<Token> split_words(std::string_view line);

// Nothing to do: blank, or a comment ('!' or '#' first).
bool is_idle_line(std::string_view line);

// Where a byte lies that no command may contain (a control character but a tab), or npos.
size_t find_control(std::string_view line);

}  // namespace shell
