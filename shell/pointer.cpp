// SPDX-License-Identifier: Apache-2.0
#include "shell/pointer.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <string>

namespace shell {

namespace {

constexpr size_t usual_width = 80, narrowest = 20, indentation = 2;

// Columns on the screen; an invalid byte counts as one.
size_t columns_of(std::string_view text) {
  size_t columns = 0;
  mbstate_t state{};
  while (!text.empty()) {
    wchar_t character = 0;
    const size_t taken = std::mbrtowc(&character, text.data(), text.size(), &state);
    const bool whole = taken != 0 && taken <= text.size();
    const int width = whole ? wcwidth(character) : 1;
    if (!whole) state = {};
    columns += static_cast<size_t>(std::max(width, 0));
    text.remove_prefix(whole ? taken : 1);
  }
  return columns;
}

}  // namespace

size_t terminal_width() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < narrowest) return usual_width;
  return size.ws_col;
}

std::string wrapped(const std::string &text, size_t width) {
  std::string lines;
  size_t column = 0, begin = 0;
  while (begin < text.size()) {
    const size_t end = std::min(text.find(' ', begin), text.size());
    const std::string word = text.substr(begin, end - begin);
    const size_t needed = columns_of(word);
    if (column != 0 && column + 1 + needed > width) {
      lines += "\n" + std::string(indentation, ' ');
      column = indentation;
    } else if (column != 0) {
      lines += ' ';
      column++;
    }
    lines += word;
    column += needed;
    begin = end + 1;
  }
  return lines;
}

std::string pointed_at(const Problem &problem, std::string_view line, size_t before, size_t width) {
  const size_t column = before + columns_of(line.substr(0, problem.offset));
  const std::string caret = column < width ? std::string(column, ' ') + "^\n" : "";
  return caret + wrapped(describe(problem), width);
}

}  // namespace shell
