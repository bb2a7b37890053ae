// SPDX-License-Identifier: Apache-2.0
#include "host/visible.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace host {
namespace {

constexpr uint32_t no_character = 0xffffffff;

struct Character {
  uint32_t code;  // no_character: the byte begins none
  size_t length;
};

uint8_t byte_at(std::string_view text, size_t offset) {
  return static_cast<uint8_t>(text[offset]);
}

// Strict UTF-8: no overlong forms and no surrogates, by which a refused character could be written in another way.
Character character_at(std::string_view text, size_t offset) {
  struct Form {
    uint8_t mask, lead;
    uint32_t least;
  };
  constexpr Form forms[] = {{0xe0, 0xc0, 0x80}, {0xf0, 0xe0, 0x800}, {0xf8, 0xf0, 0x10000}};
  const uint8_t first = byte_at(text, offset);
  if (first < 0x80) return {first, 1};
  for (size_t extra = 1; extra <= std::size(forms); extra++) {
    const Form &form = forms[extra - 1];
    if ((first & form.mask) != form.lead) continue;
    if (offset + extra >= text.size()) break;
    uint32_t code = first & static_cast<uint8_t>(~form.mask);
    for (size_t i = 1; i <= extra; i++) {
      if ((byte_at(text, offset + i) & 0xc0) != 0x80) return {no_character, 1};
      code = code << 6 | (byte_at(text, offset + i) & 0x3f);
    }
    if (code < form.least || code > 0x10ffff || (code >= 0xd800 && code <= 0xdfff)) break;
    return {code, extra + 1};
  }
  return {no_character, 1};
}

bool is_hidden(uint32_t code) {
  struct Range {
    uint32_t first, last;
  };
  constexpr Range ranges[] = {
      {0x00, 0x08},     {0x0b, 0x1f},     {0x7f, 0x9f},        // control characters but tab and line end
      {0x061c, 0x061c}, {0x200b, 0x200f}, {0x2028, 0x202e},    // direction, line separators, no width
      {0x2060, 0x206f}, {0xfeff, 0xfeff}, {0xe0000, 0xe007f},  // the same; characters that only tag others
  };
  return std::any_of(std::begin(ranges), std::end(ranges),
                     [code](const Range &range) { return code >= range.first && code <= range.last; });
}

char hex_digit(unsigned value) {
  return "0123456789ABCDEF"[value & 0xf];
}

// Written by hand, as outputs may be megabytes of such bytes: a formatted print took most of the time of a screen.
void append_shown(std::string *result, uint8_t byte, uint32_t code) {
  if (code == no_character) {
    result->append({'<', hex_digit(byte >> 4), hex_digit(byte), '>'});
  } else if (code < 0x80) {
    result->append({'^', static_cast<char>(byte ^ 0x40)});
  } else {
    char written[16];
    std::snprintf(written, sizeof written, "<U+%04X>", code);
    *result += written;
  }
}

// Most texts consist of these characters: the quick path.
bool is_plain(char c) {
  return (c >= ' ' && c < 0x7f) || c == '\n' || c == '\t';
}

constexpr uint64_t in_each_byte(uint8_t value) {
  return value * uint64_t{0x0101010101010101};
}

// Whether all of eight bytes are from blank to '~'. Tab and newline are not, and take the slow path.
bool are_printable(const char *eight) {
  uint64_t word;
  std::memcpy(&word, eight, sizeof word);
  const uint64_t below_blank = (word - in_each_byte(' ')) & ~word, above_tilde = word | (word + in_each_byte(1));
  return ((below_blank | above_tilde) & in_each_byte(0x80)) == 0;
}

size_t end_of_plain(std::string_view text, size_t offset) {
  while (offset < text.size()) {
    if (text.size() - offset >= sizeof(uint64_t) && are_printable(text.data() + offset))
      offset += sizeof(uint64_t);
    else if (is_plain(text[offset]))
      offset++;
    else
      break;
  }
  return offset;
}

}  // namespace

std::string visible(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (size_t offset = 0;;) {
    const size_t plain_end = end_of_plain(text, offset);
    result.append(text, offset, plain_end - offset);
    if (plain_end == text.size()) return result;
    const Character character = character_at(text, plain_end);
    if (character.code == no_character || is_hidden(character.code))
      append_shown(&result, byte_at(text, plain_end), character.code);
    else
      result.append(text, plain_end, character.length);
    offset = plain_end + character.length;
  }
}

std::optional<ControlCharacter> find_control(std::string_view text) {
  for (size_t offset = end_of_plain(text, 0); offset < text.size();) {
    const Character character = character_at(text, offset);
    const bool upper_control = character.code == no_character && byte_at(text, offset) < 0xa0;  // in an 8-bit terminal
    if (upper_control || (character.code != no_character && is_hidden(character.code))) {
      ControlCharacter found = {offset, ""};
      append_shown(&found.shown, byte_at(text, offset), character.code);
      return found;
    }
    offset = end_of_plain(text, offset + character.length);
  }
  return std::nullopt;
}

}  // namespace host
