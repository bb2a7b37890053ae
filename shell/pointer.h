// SPDX-License-Identifier: Apache-2.0
// What is wrong with a line that a person has just typed: a caret under the word, and what was expected.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "shell/parse.h"

namespace shell {

// `before`: columns that the prompt takes. Where the word lies beyond the terminal's width the column is named alone.
std::string pointed_at(const Problem &problem, std::string_view line, size_t before, size_t width);

std::string wrapped(const std::string &text, size_t width);  // at words; further lines are indented

size_t terminal_width();  // of standard output; 80 where it has none

}  // namespace shell
