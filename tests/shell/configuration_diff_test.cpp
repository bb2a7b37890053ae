// SPDX-License-Identifier: Apache-2.0
#include "shell/configuration_diff.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace shell {
namespace {

TEST(ConfigurationDiff, shows_what_goes_comes_and_changes_block_by_block) {
  EXPECT_EQ(configuration_diff("feature scheduler\n"
                               "scheduler job name a\none\ntwo\nend-job\n\n"
                               "scheduler job name b\nx\nend-job\n\n"
                               "scheduler schedule name s\n job name a\n  time daily 01:00\n\n",
                               "feature scheduler\n"
                               "scheduler logfile size 32\n\n"
                               "scheduler job name a\none\nthree\nend-job\n\n"
                               "scheduler schedule name s\n job name a\n  time daily 01:00\n\n"),
            "-scheduler job name b\n-x\n-end-job\n"
            "+scheduler logfile size 32\n"
            " scheduler job name a\n one\n-two\n+three\n end-job\n");
}

TEST(ConfigurationDiff, keeps_a_job_with_empty_lines_in_one_block) {
  const std::string head = "scheduler job name a\none\n\n";
  EXPECT_EQ(configuration_diff(head + "two\nend-job\n\n", head + "three\nend-job\n\n"),
            " scheduler job name a\n one\n \n-two\n+three\n end-job\n");
}

TEST(ConfigurationDiff, keeps_as_many_lines_as_it_can) {
  const auto job = [](const std::string &lines) { return "scheduler job name a\n" + lines + "end-job\n\n"; };
  const std::string head = " scheduler job name a\n", end = " end-job\n";
  EXPECT_EQ(configuration_diff(job("a\nb\nc\n"), job("b\nc\n")), head + "-a\n b\n c\n" + end);
  EXPECT_EQ(configuration_diff(job("b\nc\n"), job("a\nb\nc\n")), head + "+a\n b\n c\n" + end);
  EXPECT_EQ(configuration_diff(job("a\nx\nb\n"), job("a\nb\ny\n")), head + " a\n-x\n b\n+y\n" + end);
}

TEST(ConfigurationDiff, has_what_comes_or_goes_at_the_end_of_a_block) {
  const std::string head = "scheduler schedule name s\n", more = "email-addr a@b\n";
  EXPECT_EQ(configuration_diff(head + "\n", head + more + "\n"), " " + head + "+" + more);
  EXPECT_EQ(configuration_diff(head + more + "\n", head + "\n"), " " + head + "-" + more);
  EXPECT_EQ(configuration_diff(head + more + "  \n", head + " \n"), " " + head + "-" + more)
      << "blank lines end it too";
}

// Beyond, the time and memory for it would be felt.
TEST(ConfigurationDiff, compares_lines_of_blocks_up_to_two_thousand) {
  const auto job = [](size_t lines, const std::string &last) {
    std::string text = "scheduler job name a\n";
    for (size_t i = 0; i + 3 < lines; i++)
      text += "x\n";
    return text + last + "\nend-job\n\n";
  };
  const std::string small = configuration_diff(job(1999, "a"), job(1999, "b"));
  EXPECT_EQ(std::count(small.begin(), small.end(), '\n'), 2000);
  EXPECT_NE(small.find("\n-a\n+b\n end-job\n"), small.npos);
  const std::string large = configuration_diff(job(1999, "a"), job(2000, "b"));
  EXPECT_EQ(std::count(large.begin(), large.end(), '\n'), 1999 + 2000);
  EXPECT_EQ(large.find("\n "), large.npos);
}

TEST(ConfigurationDiff, of_the_same_is_empty) {
  EXPECT_EQ(configuration_diff("feature scheduler\n", "feature scheduler\n"), "");
}

TEST(ConfigurationDiff, says_that_only_the_order_differs) {
  const std::string a = "scheduler job name a\nend-job\n\n", b = "scheduler job name b\nend-job\n\n";
  EXPECT_EQ(configuration_diff(a + b, b + a), "! the blocks are the same, in another order\n");
}

}  // namespace
}  // namespace shell
