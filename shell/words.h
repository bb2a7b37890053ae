// SPDX-License-Identifier: Apache-2.0
// Splits a command line into words.
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

// Words are separated by blanks. A word that begins with a double quote ends at the next one and may contain blanks;
// without a closing quote it ends at the end of the line.
std::vector<Token> split_words(std::string_view line);

// Whether the line is blank or a comment ('!' or '#' first).
bool is_idle_line(std::string_view line);

// The offset of the first control character other than a tab, which no command may contain, or npos.
size_t find_control(std::string_view line);

}  // namespace shell
