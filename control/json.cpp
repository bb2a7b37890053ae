// SPDX-License-Identifier: Apache-2.0
#include "control/json.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "host/visible.h"

namespace control {
namespace {

uint32_t code_at(std::string_view text, size_t length) {
  const auto byte = [&](size_t index) { return static_cast<uint32_t>(static_cast<unsigned char>(text[index])); };
  uint32_t code = length == 1 ? byte(0) : byte(0) & (0x7fu >> length);
  for (size_t index = 1; index < length; index++)
    code = code << 6 | (byte(index) & 0x3fu);
  return code;
}

// Of a character whose bytes have been checked.
size_t length_of(char first) {
  const auto byte = static_cast<unsigned char>(first);
  return byte < 0x80 ? 1 : byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : 4;
}

bool is_no_character(uint32_t code) {
  return (code >= 0xfdd0 && code <= 0xfdef) || (code & 0xfffe) == 0xfffe;
}

void append_code(std::string *result, uint32_t code) {
  char written[16];
  std::snprintf(written, sizeof written, "<U+%04X>", code);
  *result += written;
}

std::string moment_text(int64_t seconds, const char *fraction) {
  const auto moment = static_cast<time_t>(seconds);
  tm fields = {};
  char date[64], zone[16];
  localtime_r(&moment, &fields);
  const size_t length = std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &fields);
  std::strftime(zone, sizeof zone, "%z", &fields);
  const std::string offset = zone;
  return std::string(date, length) + fraction + offset.substr(0, 3) + ":" + offset.substr(3, 2);
}

}  // namespace

std::string json_text(std::string_view text) {
  const std::string seen = host::visible(text);
  std::string result;
  result.reserve(seen.size());
  for (std::string_view rest = seen; !rest.empty();) {
    const size_t length = std::min(length_of(rest.front()), rest.size());
    const uint32_t code = code_at(rest, length);
    if (is_no_character(code))
      append_code(&result, code);
    else
      result += rest.substr(0, length);
    rest.remove_prefix(length);
  }
  return result;
}

std::string json_number(uint64_t number) {
  return std::to_string(number);
}

std::string json_moment(int64_t seconds) {
  return moment_text(seconds, "");
}

std::string json_moment_ms(int64_t moment) {
  char fraction[16];
  std::snprintf(fraction, sizeof fraction, ".%03d", static_cast<int>(moment % 1000));
  return moment_text(moment / 1000, fraction);
}

Json json_event(const host::DebugEvent &event) {
  constexpr int64_t ms_a_second = 1000, ns_a_ms = 1000000;
  return {{"time", json_moment_ms(event.when.tv_sec * ms_a_second + event.when.tv_nsec / ns_a_ms)},
          {"level", event.level},
          {"text", json_text(event.text)}};
}

std::string json_document(const Json &document) {
  return document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace control
