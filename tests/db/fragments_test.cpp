// SPDX-License-Identifier: Apache-2.0
#include "tests/db/records.h"

using namespace platform_test;
using namespace db_test;

namespace {

class Fragments : public PlatformTest {
 protected:
  ~Fragments() override { g_list_free_full(list_, free); }

  // The text in the fragments in which a store holds it, each on the heap at its exact size.
  void split(const std::string &text) {
    for (size_t at = 0; at < text.size(); at += 1024)
      append(text.substr(at, 1024));
  }
  void append(const std::string &piece) {
    void *copy = g_memdup2(piece.data(), piece.size());
    list_ = g_list_append(list_, copy);
  }
  // The joined text in a buffer of exactly `length` bytes.
  std::string joined(int32_t length, int (*join)(GList *, char *, int32_t) = sch_concat_fragments) {
    const size_t size = length < 0 ? 0 : static_cast<size_t>(length);
    std::vector<char> buffer(size, '.');
    EXPECT_EQ(join(list_, buffer.data(), length), 0);
    return std::string(buffer.begin(), buffer.end());
  }

  GList *list_ = nullptr;
};

std::string text_of(size_t size) {
  std::string text(size, '\0');
  for (size_t i = 0; i < size; ++i)
    text[i] = static_cast<char>('a' + i % 26);
  return text;
}

TEST_F(Fragments, text_comes_out_as_it_was_split) {
  for (const size_t size : {1u, 2u, 1023u, 1024u, 1025u, 2047u, 2048u, 2049u, 2500u, 10240u}) {
    g_list_free_full(list_, free);
    list_ = nullptr;
    split(text_of(size));
    EXPECT_EQ(joined(static_cast<int32_t>(size)), text_of(size)) << size;
  }
}

TEST_F(Fragments, nothing_is_copied_for_no_or_a_negative_length) {
  append("text");
  for (const int32_t length : {0, -1, -1024, -1025, -2147483647 - 1})
    for (const auto join : {sch_concat_fragments, sch_show_run_concat_fragments}) {
      fake.reset();
      char buffer[8] = "kept";
      EXPECT_EQ(join(list_, buffer, length), 0);
      EXPECT_STREQ(buffer, "kept");
    }
}

TEST_F(Fragments, short_list_ends_the_copy_early) {
  split(text_of(1024));
  EXPECT_EQ(joined(3000), text_of(1024) + std::string(1976, '.'));
}

TEST_F(Fragments, surplus_elements_are_ignored) {
  split(text_of(1024));
  append("surplus");
  EXPECT_EQ(joined(1024), text_of(1024));
  EXPECT_EQ(joined(10), text_of(10));
}

TEST_F(Fragments, walk_begins_at_the_lists_first_element) {
  split(text_of(2048));
  std::vector<char> buffer(2048);
  sch_concat_fragments(list_->next, buffer.data(), 2048);
  EXPECT_EQ(std::string(buffer.begin(), buffer.end()), text_of(2048));
}

TEST_F(Fragments, no_terminator_is_written) {
  append("text");
  char buffer[8] = "0123456";
  sch_concat_fragments(list_, buffer, 4);
  EXPECT_STREQ(buffer, "text456");
}

TEST_F(Fragments, newlines_become_semicolons_in_each_piece_but_its_last_byte) {
  std::string text(2100, '\n');
  split(text);
  std::string expected = std::string(1023, ';') + "\n" + std::string(1023, ';') + "\n" + std::string(51, ';') + "\n";
  EXPECT_EQ(joined(2100, sch_show_run_concat_fragments), expected);
}

TEST_F(Fragments, plain_joining_keeps_newlines) {
  append("a\nb\n");
  EXPECT_EQ(joined(4), "a\nb\n");
  EXPECT_EQ(joined(4, sch_show_run_concat_fragments), "a;b\n");
}

TEST_F(Fragments, newlines_are_replaced_up_to_the_last_byte_but_one) {
  const struct {
    std::string text;
    int32_t length;
    const char *expected;
  } rows[] = {
      {"a\nb\n", 4, "a;b\n"}, {"a\nb\n", 5, "a;b;"},  {"\n\n\n", 3, ";;\n"}, {"\n\n", 2, ";\n"},
      {"\n\n", 1, "\n\n"},    {"\n\n", 0, "\n\n"},    {"\n\n", -1, "\n\n"},  {"\n", -2147483647 - 1, "\n"},
      {"abc", 3, "abc"},      {"a\n\nb", 3, "a;\nb"},
  };
  for (const auto &row : rows) {
    std::string buffer = row.text;
    sch_replace_newline_with_semicolon(buffer.data(), row.length);
    EXPECT_STREQ(buffer.c_str(), row.expected) << row.length;
  }
}

}  // namespace
