// SPDX-License-Identifier: Apache-2.0
// Converts a whole configuration, as an operator writes it, into the layout in which it is sent.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace shell {

struct TextProblem {
  size_t line;  // from 1; 0: not about a line
  std::string text;
};

struct ConfigurationText {
  std::string text;           // in the layout of `show running-config`
  std::vector<size_t> lines;  // for each line of `text` the operator's line that it comes from
  std::vector<TextProblem> problems;
};

// Accepts every form of the commands, abbreviations, and both layouts in which the system shows a configuration.
// Carries nothing out.
ConfigurationText read_configuration_text(std::string_view input);

}  // namespace shell
