// SPDX-License-Identifier: Apache-2.0
// A whole configuration as an operator writes it, brought into the one layout in which it travels.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace shell {

struct TextProblem {
  size_t line;  // from 1; 0: no line is to blame
  std::string text;
};

struct ConfigurationText {
  std::string text;           // in the layout of `show running-config`
  std::vector<size_t> lines;  // where each of its lines comes from
  std::vector<TextProblem> problems;
};

// Takes every form of the commands, abbreviations and both layouts in which the system writes a configuration. Nothing
// is carried out.
ConfigurationText read_configuration_text(std::string_view input);

}  // namespace shell
