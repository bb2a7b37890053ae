// SPDX-License-Identifier: Apache-2.0
#include "host/visible.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <random>

namespace {

using host::visible;

std::string utf8(gunichar code) {
  char bytes[6];
  return {bytes, static_cast<size_t>(g_unichar_to_utf8(code, bytes))};
}

std::string by_its_number(gunichar code) {
  char text[16];
  std::snprintf(text, sizeof text, "<U+%04X>", code);
  return text;
}

std::string as_a_byte(char byte) {
  char text[8];
  std::snprintf(text, sizeof text, "<%02X>", static_cast<uint8_t>(byte));
  return text;
}

TEST(Visible, leaves_ordinary_text_alone_whatever_its_script) {
  for (const char *text :
       {"", "plain\ttext\n", "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80", "\xd0\x9f\xd0\xb5", "\xef\xbf\xbd"})
    EXPECT_EQ(visible(text), text);
}

TEST(Visible, shows_control_characters_with_a_caret) {
  EXPECT_EQ(visible("\x1b[31mred\x1b]0;title\x07"), "^[[31mred^[]0;title^G");
  EXPECT_EQ(visible("line\r\nbell\x7f\b"), "line^M\nbell^?^H");
  EXPECT_EQ(visible(std::string_view("\0\x1f", 2)), "^@^_");
}

TEST(Visible, shows_each_byte_alike_wherever_it_stands_in_ordinary_text) {
  for (int value = 0; value < 0x80; value++) {
    const std::string alone(1, static_cast<char>(value));
    for (size_t before = 0; before < 17; before++) {
      const std::string left(before, 'a'), right(17, '~');
      EXPECT_EQ(visible(left + alone + right), left + visible(alone) + right) << value << " behind " << before;
    }
  }
}

TEST(Visible, shows_upper_controls_and_what_hides_or_turns_text_by_their_number) {
  EXPECT_EQ(visible("\xc2\x9b"
                    "31m"),
            "<U+009B>31m");
  EXPECT_EQ(visible("\xc2\x80\xc2\x9f\xc2\xa0"), "<U+0080><U+009F>\xc2\xa0");
  EXPECT_EQ(visible("a\xe2\x80\xae"
                    "b\xe2\x81\xa6\xd8\x9c\xef\xbb\xbf\xe2\x80\x8b"),
            "a<U+202E>b<U+2066><U+061C><U+FEFF><U+200B>");
  EXPECT_EQ(visible("\xf3\xa0\x81\x81"), "<U+E0041>");
}

struct Edge {
  gunichar code;
  bool shown_by_number;
};

constexpr Edge edges[] = {
    {0x80, true},     {0x9f, true},    {0xa0, false},   {0x61b, false},    {0x61c, true},   {0x61d, false},
    {0x200a, false},  {0x200b, true},  {0x200f, true},  {0x2010, false},   {0x2027, false}, {0x2028, true},
    {0x202e, true},   {0x202f, false}, {0x205f, false}, {0x2060, true},    {0x206f, true},  {0x2070, false},
    {0xfefe, false},  {0xfeff, true},  {0xff00, false}, {0xdffff, false},  {0xe0000, true}, {0xe007f, true},
    {0xe0080, false}, {0xd7ff, false}, {0xe000, false}, {0x10ffff, false},
};

TEST(Visible, hides_nothing_beside_what_hides_or_turns_text) {
  for (const auto &[code, shown_by_number] : edges) {
    EXPECT_EQ(visible(utf8(code)), shown_by_number ? by_its_number(code) : utf8(code)) << by_its_number(code);
    EXPECT_EQ(host::find_control(utf8(code)).has_value(), shown_by_number) << by_its_number(code);
  }
}

TEST(Visible, takes_each_character_for_what_it_is) {
  for (gunichar code = 0x80; code < 0x110000; code += code < 0x3000 ? 1 : 61) {
    if (!g_unichar_validate(code)) continue;
    const std::string text = utf8(code), shown = visible(text);
    ASSERT_TRUE(shown == text || shown == by_its_number(code)) << by_its_number(code) << " became " << shown;
  }
}

// Both sides of each bound that a byte of a character has.
constexpr char bytes_behind[] = {'\x3f', '\x7f', '\x80', '\x8f', '\x90', '\x9f', '\xa0', '\xbf', '\xc0', '\xff'};

void expect_character_or_byte(const std::string &text) {
  const gunichar code = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
  const std::string shown = visible(text);
  if (code >= 0x110000)
    ASSERT_TRUE(shown.starts_with(as_a_byte(text[0]))) << shown;
  else
    ASSERT_TRUE(shown.starts_with(utf8(code)) || shown.starts_with(by_its_number(code))) << shown;
}

TEST(Visible, takes_no_bytes_for_a_character_that_are_none) {
  for (int first = 0x80; first < 0x100; first++)
    for (const char second : bytes_behind)
      for (const char third : bytes_behind)
        for (const char fourth : bytes_behind)
          expect_character_or_byte({static_cast<char>(first), second, third, fourth});
}

TEST(Visible, does_not_look_behind_the_end_of_a_text) {
  for (const std::string whole : {"\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80"})
    for (size_t size = 1; size < whole.size(); size++)
      EXPECT_EQ(visible(std::string_view(whole).substr(0, size)).substr(0, 4), as_a_byte(whole[0]));
}

TEST(Visible, shows_bytes_that_are_no_utf_8_one_by_one) {
  EXPECT_EQ(visible("\x9b"
                    "31m"),
            "<9B>31m");
  EXPECT_EQ(visible("caf\xe9!"), "caf<E9>!");
  EXPECT_EQ(visible("\xc1\x9b"), "<C1><9B>");                          // a second form of a shorter one
  EXPECT_EQ(visible("\xe0\x82\x9b"), "<E0><82><9B>");                  // the same in three bytes
  EXPECT_EQ(visible("\xed\xa0\x80"), "<ED><A0><80>");                  // half of a pair
  EXPECT_EQ(visible("\xf4\x90\x80\x80\xff"), "<F4><90><80><80><FF>");  // beyond the last one
  EXPECT_EQ(visible("\x80 \x9f"), "<80> <9F>");
  EXPECT_EQ(visible("cut \xe2\x82"), "cut <E2><82>");
  EXPECT_EQ(visible("\xe2\x1b["), "<E2>^[[");  // the sequence takes no control along
}

TEST(Visible, of_any_bytes_leaves_nothing_that_find_control_finds) {
  std::mt19937 random(11);
  for (int i = 0; i < 2000; i++) {
    std::string text;
    for (auto n = random() % 40; n > 0; n--)
      text += static_cast<char>(random() % 3 == 0 ? 0x80 | random() % 128 : random() % 256);
    const std::string shown = visible(text);
    ASSERT_FALSE(host::find_control(shown)) << shown;
    ASSERT_EQ(visible(shown), shown);
    for (const char c : shown)
      ASSERT_TRUE(static_cast<uint8_t>(c) >= ' ' || c == '\n' || c == '\t');
  }
}

TEST(FindControl, tells_where_the_first_one_is_and_how_it_is_shown) {
  EXPECT_FALSE(host::find_control("tab\tline\n caf\xc3\xa9 \xe9 \xa0"));
  const auto escape = host::find_control("ab\xc3\xa9\x1b[1m\r");
  ASSERT_TRUE(escape);
  EXPECT_EQ(escape->offset, 4u);
  EXPECT_EQ(escape->shown, "^[");
  for (const auto &[text, shown] : {std::pair{"x\r", "^M"},
                                    {"x\x7f", "^?"},
                                    {"x\x9b", "<9B>"},
                                    {"x\x9f", "<9F>"},
                                    {"x\xc2\x85", "<U+0085>"},
                                    {"x\xe2\x80\xaey", "<U+202E>"}}) {
    const auto found = host::find_control(text);
    ASSERT_TRUE(found) << shown;
    EXPECT_EQ(found->offset, 1u);
    EXPECT_EQ(found->shown, shown);
  }
}

}  // namespace
