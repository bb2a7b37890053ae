// SPDX-License-Identifier: Apache-2.0
#include "shell/words.h"

#include <gtest/gtest.h>

namespace shell {
namespace {

using Expected = std::vector<std::pair<std::string, size_t>>;

Expected words_of(std::string_view line) {
  Expected all;
  for (const Token &token : split_words(line))
    all.emplace_back(token.text, token.offset);
  return all;
}

TEST(split_words, cuts_at_blanks_and_tabs_and_notes_where_each_word_begins) {
  EXPECT_EQ(words_of("  show\tscheduler  job "), (Expected{{"show", 2}, {"scheduler", 7}, {"job", 18}}));
}

TEST(split_words, keeps_blanks_between_double_quotes) {
  EXPECT_EQ(words_of("a \"b c\" d"), (Expected{{"a", 0}, {"b c", 2}, {"d", 8}}));
}

TEST(split_words, takes_a_quote_within_a_word_as_it_stands) {
  EXPECT_EQ(words_of("a\"b"), (Expected{{"a\"b", 0}}));
}

TEST(split_words, takes_an_open_quote_to_the_end) {
  EXPECT_EQ(words_of("\"a b"), (Expected{{"a b", 0}}));
}

TEST(split_words, gives_an_empty_word_for_empty_quotes) {
  EXPECT_EQ(words_of("x \"\""), (Expected{{"x", 0}, {"", 2}}));
}

TEST(split_words, finds_none_in_a_blank_line) {
  EXPECT_EQ(words_of(""), Expected{});
  EXPECT_EQ(words_of(" \t "), Expected{});
}

TEST(idle_line, is_blank_or_a_comment) {
  for (const char *line : {"", "  ", "! comment", "  # comment", "#"})
    EXPECT_TRUE(is_idle_line(line)) << line;
  for (const char *line : {"show", " end # no comment"})
    EXPECT_FALSE(is_idle_line(line)) << line;
}

TEST(find_control, finds_the_first_control_character_but_a_tab) {
  EXPECT_EQ(find_control("show\tjob"), std::string_view::npos);
  EXPECT_EQ(find_control("show\x1b"), 4u);
  EXPECT_EQ(find_control(std::string_view("a\0b", 3)), 1u);
  EXPECT_EQ(find_control("\xc3\xa4"), std::string_view::npos);
}

}  // namespace
}  // namespace shell
