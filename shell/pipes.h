// SPDX-License-Identifier: Apache-2.0
// Filters behind a show command: "| include up | count", "| json".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "shell/parse.h"

namespace shell {

struct Filter {
  enum class Kind { include, exclude, begin, section, count, no_more, save, json };
  Kind kind;
  std::string argument;  // an extended regular expression, or a file
};

struct Piped {
  std::string_view command;  // the line up to the first '|'
  std::vector<Filter> filters;
  std::optional<Problem> problem;
};

// The offset of the first filter of a show command, or npos. In other commands and within quotes '|' has no meaning.
size_t find_pipe(std::string_view line);

Piped split_pipes(std::string_view line);

// The possible completions at the end of a line with a filter.
std::vector<Choice> filter_choices(std::string_view line);

// Applies the filters to a text, except for `save` and `no_more`, which are the caller's.
std::string filtered(const std::string &text, const std::vector<Filter> &filters);

}  // namespace shell
