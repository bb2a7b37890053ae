// SPDX-License-Identifier: Apache-2.0
// Shows what is wrong with a line that was just typed: a caret under the word, and what was expected.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "shell/parse.h"

namespace shell {

// `before`: the prompt's width in columns. If the word is beyond the terminal's width, only its column is named.
std::string pointed_at(const Problem &problem, std::string_view line, size_t before, size_t width);

std::string wrapped(const std::string &text, size_t width);  // at words; further lines are indented

size_t terminal_width();  // of standard output; 80 if it is not a terminal

}  // namespace shell
