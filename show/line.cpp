// SPDX-License-Identifier: Apache-2.0
#include "show/line.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

void print_line(int count, char character) {
  char piece[128];
  std::memset(piece, character, sizeof piece);
  for (; count > 0; count -= static_cast<int>(sizeof piece))
    std::fwrite(piece, 1, std::min(sizeof piece, static_cast<size_t>(count)), stdout);
}

namespace show {

void print_rule() {
  print_line(rule_width, '=');
  std::putchar('\n');
}

void print_underline(int label_width, const char *name, size_t name_size) {
  print_line(label_width, '-');
  print_line(static_cast<int>(strnlen(name, name_size)), '-');
  std::putchar('\n');
}

void print_bytes(const char *bytes, int32_t length) {
  if (length > 0) std::fwrite(bytes, 1, static_cast<size_t>(length), stdout);
}

void print_time(time_t when) {
  char text[26];  // ctime_r's fixed need; a year beyond 9999 has no text
  std::fputs(ctime_r(&when, text) != nullptr ? text : "out of range\n", stdout);
}

}  // namespace show
