// SPDX-License-Identifier: Apache-2.0
// Makes text of others safe for a terminal: it must not move the cursor, change colours or titles, make the terminal
// send input, or hide other text.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace host {

// Escapes everything that a terminal would interpret or not display: control characters as ^[ and ^?, bytes that are
// not UTF-8 as <9B>, and as <U+202E> the C1 control characters, direction changes and characters without a width. Tab
// and newline are kept.
std::string visible(std::string_view text);

struct ControlCharacter {
  size_t offset;
  std::string shown;  // as visible() has it
};

// The first character, except tab and newline, that a terminal would interpret or not display. Bytes above 0x9f that
// are not UTF-8 are allowed: they may be letters of another character set.
std::optional<ControlCharacter> find_control(std::string_view text);

}  // namespace host
