// SPDX-License-Identifier: Apache-2.0
// Text from somebody else on its way to a terminal: none of it may move the cursor, change colours or titles, answer
// for the user or hide what stands beside it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace host {

// The text with everything made visible that a terminal would obey or not show: control characters as ^[ and ^?, bytes
// that are no UTF-8 as <9B>, and as <U+202E> the upper control characters, those that change the direction of writing
// and those without a width. Tab and line end stay.
std::string visible(std::string_view text);

struct ControlCharacter {
  size_t offset;
  std::string shown;  // as visible() has it
};

// The first character other than tab and line end that a terminal would obey or hide. Bytes that are merely of another
// character set than UTF-8 are none.
std::optional<ControlCharacter> find_control(std::string_view text);

}  // namespace host
