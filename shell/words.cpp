// SPDX-License-Identifier: Apache-2.0
#include "shell/words.h"

#include <algorithm>
#include <cctype>

namespace shell {

namespace {

constexpr std::string_view blanks = " \t";

Token quoted(std::string_view line, size_t start, size_t *end) {
  const size_t close = std::min(line.find('"', start + 1), line.size());
  *end = std::min(close + 1, line.size());
  return {std::string(line.substr(start + 1, close - start - 1)), start};
}

Token plain(std::string_view line, size_t start, size_t *end) {
  *end = std::min(line.find_first_of(blanks, start), line.size());
  return {std::string(line.substr(start, *end - start)), start};
}

}  // namespace

std::vector<Token> split_words(std::string_view line) {
  std::vector<Token> tokens;
  size_t at = 0;
  while ((at = line.find_first_not_of(blanks, at)) != std::string_view::npos) {
    tokens.push_back(line[at] == '"' ? quoted(line, at, &at) : plain(line, at, &at));
  }
  return tokens;
}

bool is_idle_line(std::string_view line) {
  const size_t first = line.find_first_not_of(blanks);
  return first == std::string_view::npos || line[first] == '!' || line[first] == '#';
}

size_t find_control(std::string_view line) {
  const auto found = std::find_if(line.begin(), line.end(), [](char character) {
    return character != '\t' && std::iscntrl(static_cast<unsigned char>(character)) != 0;
  });
  return found == line.end() ? std::string_view::npos : static_cast<size_t>(found - line.begin());
}

}  // namespace shell
