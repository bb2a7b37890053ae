// SPDX-License-Identifier: Apache-2.0
#include "shell/pointer.h"

#include <gtest/gtest.h>

#include <clocale>

namespace shell {
namespace {

const Problem unknown = {Problem::Cause::unknown, 5, "x", {"scheduler", "running-config", "startup-config"}, {}};

TEST(pointed_at, puts_a_caret_under_the_word_and_wraps_what_was_expected) {
  EXPECT_EQ(pointed_at(unknown, "show x", 9, 40),
            "              ^\n"
            "\"x\" at column 6 is not known here;\n"
            "  expected: scheduler, running-config,\n"
            "  startup-config");
}

TEST(pointed_at, counts_columns_and_not_bytes) {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  const Problem behind = {Problem::Cause::too_long, 7, "x", {}, {}};
  EXPECT_EQ(pointed_at(behind, "\xc3\xa4\xc3\xb6\xc3\xbc x", 0, 80).substr(0, 6), "    ^\n");
}

TEST(pointed_at, has_no_caret_beyond_the_screen) {
  EXPECT_EQ(pointed_at({Problem::Cause::too_long, 30, "x", {}, {}}, std::string(30, 'a') + "x", 10, 40),
            "\"x\" at column 31 is too much: the\n  command ends before it");
}

TEST(pointed_at, has_its_caret_in_the_last_column_of_the_screen_too) {
  const Problem last = {Problem::Cause::too_long, 29, "x", {}, {}};
  EXPECT_EQ(pointed_at(last, std::string(29, 'a') + "x", 10, 40).substr(0, 41), std::string(39, ' ') + "^\n");
}

TEST(wrapped, counts_no_column_for_what_the_screen_does_not_show) {
  EXPECT_EQ(wrapped(std::string(30, '\a') + "b a", 20), std::string(30, '\a') + "b a");
}

TEST(wrapped, begins_a_line_where_the_next_word_does_not_fit) {
  EXPECT_EQ(wrapped("a b", 20), "a b");
  EXPECT_EQ(wrapped(std::string(9, 'a') + " " + std::string(10, 'b'), 20),
            std::string(9, 'a') + " " + std::string(10, 'b'));
  EXPECT_EQ(wrapped(std::string(9, 'a') + " " + std::string(11, 'b'), 20),
            std::string(9, 'a') + "\n  " + std::string(11, 'b'));
  EXPECT_EQ(wrapped("", 20), "");
}

TEST(wrapped, counts_an_invalid_byte_as_one_column) {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  EXPECT_EQ(wrapped(std::string(9, '\xff') + " " + std::string(10, 'b'), 20),
            std::string(9, '\xff') + " " + std::string(10, 'b'));
  EXPECT_EQ(wrapped(std::string(10, '\xff') + " " + std::string(10, 'b'), 20),
            std::string(10, '\xff') + "\n  " + std::string(10, 'b'));
  EXPECT_EQ(wrapped("\xff\xc3\xa4 " + std::string(17, 'b'), 20), "\xff\xc3\xa4 " + std::string(17, 'b'));
}

TEST(wrapped, keeps_a_word_that_is_wider_than_the_screen_whole) {
  EXPECT_EQ(wrapped("a " + std::string(30, 'b') + " c", 20), "a\n  " + std::string(30, 'b') + "\n  c");
}

}  // namespace
}  // namespace shell
