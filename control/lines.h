// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <string_view>

namespace control {

// Cuts the first line off a text that is not empty, and returns it without its end. The last line may have no end.
inline std::string_view cut_line(std::string_view *text) {
  const std::string_view line = text->substr(0, text->find('\n'));
  text->remove_prefix(std::min(line.size() + 1, text->size()));
  return line;
}

}  // namespace control
