// SPDX-License-Identifier: Apache-2.0
#include "cli/job_text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "cli/report.h"

namespace {

constexpr size_t growth = 1024;
constexpr size_t text_limit = 8182;  // of the text so far and the next line without its newline
constexpr char separator = ';';

// Grows by whole steps, as many as a long line needs.
bool reserve(JobText *lines, size_t needed) {
  if (needed <= lines->capacity) return true;
  size_t capacity = lines->capacity;
  while (capacity < needed)
    capacity += growth;
  void *grown = std::realloc(lines->bytes.get(), capacity);
  if (grown == nullptr) return false;
  static_cast<void>(lines->bytes.release());
  lines->bytes.reset(static_cast<char *>(grown));
  lines->capacity = capacity;
  return true;
}

// Cuts the next line off; empty ones vanish.
std::string_view next_line(std::string_view *rest) {
  rest->remove_prefix(std::min(rest->find_first_not_of(separator), rest->size()));
  const std::string_view line = rest->substr(0, rest->find(separator));
  rest->remove_prefix(line.size());
  return line;
}

bool append(JobText *lines, std::string_view line) {
  if (!reserve(lines, lines->used + line.size() + 1)) return false;
  std::memcpy(lines->bytes.get() + lines->used, line.data(), line.size());
  lines->bytes.get()[lines->used + line.size()] = '\n';
  lines->used += line.size() + 1;
  return true;
}

bool append_lines(JobText *lines, std::string_view rest) {
  for (std::string_view line = next_line(&rest); !line.empty(); line = next_line(&rest)) {
    if (lines->used + line.size() > text_limit) {
      // Meant: what fitted is still sent.
      std::fprintf(stderr, "Cannot add more lines, buffer size %d\n", static_cast<int>(lines->capacity));
      return true;
    }
    if (!append(lines, line)) return false;
  }
  return true;
}

}  // namespace

bool collect_lines(const char *text, JobText *lines) {
  lines->bytes.reset(static_cast<char *>(std::malloc(growth)));
  lines->capacity = growth;
  if (lines->bytes && append_lines(lines, text)) return true;
  report_no_memory();
  return false;
}
