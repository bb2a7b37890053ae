// SPDX-License-Identifier: Apache-2.0
// What stands behind a show command: "| include up | count".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "shell/parse.h"

namespace shell {

struct Filter {
  enum class Kind { include, exclude, begin, section, count, no_more, save };
  Kind kind;
  std::string argument;  // a pattern, as grep -E has it, or a file
};

struct Piped {
  std::string_view command;  // the line up to the first '|'
  std::vector<Filter> filters;
  std::optional<Problem> problem;
};

// Where the filters of a show command begin, or npos: '|' means nothing in other commands and within quotes.
size_t find_pipe(std::string_view line);

Piped split_pipes(std::string_view line);

// What may stand at the end of a line with a pipe.
std::vector<Choice> filter_choices(std::string_view line);

// The lines that are left. Saving and paging are not this function's.
std::string filtered(const std::string &text, const std::vector<Filter> &filters);

}  // namespace shell
