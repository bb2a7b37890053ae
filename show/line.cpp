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
namespace {

constexpr char out_of_range[] = "out of range\n";  // a year beyond 9999 has no text

bool has_four_digits(int years_since_1900) {
  return years_since_1900 >= 1000 - 1900 && years_since_1900 <= 9999 - 1900;
}

void put_two_digits(char *text, int number, char instead_of_zero) {
  text[0] = number < 10 ? instead_of_zero : static_cast<char>('0' + number / 10);
  text[1] = static_cast<char>('0' + number % 10);
}

// As asctime(), which takes ten times as long: a full log has a hundred thousand entries.
const char *put_time(const struct tm &local, char (&text)[time_text_size]) {
  constexpr char days[] = "SunMonTueWedThuFriSat", months[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
  const int year = local.tm_year + 1900;
  std::memcpy(text, "Www Mmm dd hh:mm:ss yyyy\n", time_text_size);
  std::memcpy(text, days + 3 * local.tm_wday, 3);
  std::memcpy(text + 4, months + 3 * local.tm_mon, 3);
  put_two_digits(text + 8, local.tm_mday, ' ');
  put_two_digits(text + 11, local.tm_hour, '0');
  put_two_digits(text + 14, local.tm_min, '0');
  put_two_digits(text + 17, local.tm_sec, '0');
  put_two_digits(text + 20, year / 100, '0');
  put_two_digits(text + 22, year % 100, '0');
  return text;
}

}  // namespace

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
  char text[time_text_size];
  std::fputs(time_text(when, text), stdout);
}

const char *time_text(time_t when, char (&text)[time_text_size]) {
  struct tm local;
  if (localtime_r(&when, &local) == nullptr) return out_of_range;
  if (has_four_digits(local.tm_year)) return put_time(local, text);
  return asctime_r(&local, text) != nullptr ? text : out_of_range;
}

}  // namespace show
