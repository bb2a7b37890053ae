// SPDX-License-Identifier: Apache-2.0
#include "service/request/shown_output.h"

#include <algorithm>

#include "host/visible.h"

namespace service {
namespace {

constexpr std::string_view mark = "| ";

// A line of fewer hyphens than the log's 78 would deceive a reader just as well.
constexpr size_t shortest_rule = 20;

bool is_rule(std::string_view line) {
  const size_t length = std::min(line.find_first_not_of('='), line.size());
  return length >= shortest_rule && line.find_first_not_of(" \t", length) == line.npos;
}

// Whether the line begins with the words of the library's display, after any blanks.
bool imitates_record(std::string_view line) {
  line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  for (const std::string_view word : {"Job Name", "Schedule Name", "Completion time"})
    if (line.starts_with(word)) return true;
  return is_rule(line) || (line.starts_with("---") && line.find(" Job Output ") != line.npos);
}

}  // namespace

std::string shown_output(std::string_view output) {
  const std::string text = host::visible(output);
  std::string result;
  result.reserve(text.size());
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view line = rest.substr(0, std::min(rest.find('\n'), rest.size() - 1) + 1);
    if (imitates_record(line.substr(0, line.find('\n')))) result += mark;
    result += line;
    rest.remove_prefix(line.size());
  }
  return result;
}

}  // namespace service
