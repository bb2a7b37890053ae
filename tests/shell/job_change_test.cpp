// SPDX-License-Identifier: Apache-2.0
#include "shell/job_change.h"

#include <gtest/gtest.h>

namespace shell {
namespace {

TEST(lines_of_commands, are_parted_by_semicolons_outside_of_quotes) {
  const struct {
    const char *commands, *lines;
  } rows[] = {
      {"a", "a\n"},
      {"a;b", "a\nb\n"},
      {"a; b ", "a\n b\n"},
      {";a;;b;", "a\nb\n"},
      {"", ""},
      {" \t", ""},
      {"echo 'x;y';z", "echo 'x;y'\nz\n"},
      {"echo \"x;'y\";z", "echo \"x;'y\"\nz\n"},
      {"echo 'x;\"y';z", "echo 'x;\"y'\nz\n"},
      {"\"a;b\"", "a\nb\n"},
      {"\"a;b\" \t", "a\nb\n"},
      {"\"\"", ""},
      {"\"", "\"\n"},
      {"\"a\";\"b\"", "\"a\"\n\"b\"\n"},
      {"'a;b'", "'a;b'\n"},
      {"\"a;b", "\"a;b\n"},
  };
  for (const auto &row : rows)
    EXPECT_EQ(lines_of_commands(row.commands), row.lines) << row.commands;
}

}  // namespace
}  // namespace shell
