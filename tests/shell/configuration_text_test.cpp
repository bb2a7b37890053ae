// SPDX-License-Identifier: Apache-2.0
#include "shell/configuration_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/service/random_configuration.h"

namespace shell {
namespace {

using testing::HasSubstr;

std::string problems_of(const ConfigurationText &text) {
  std::string all;
  for (const TextProblem &problem : text.problems)
    all += std::to_string(problem.line) + ": " + problem.text + "\n";
  return all;
}

TEST(ConfigurationText, in_the_systems_own_layout_stays_as_it_is) {
  setenv("TZ", "UTC", 1);
  std::mt19937 random(11);
  for (int i = 0; i < 300; i++) {
    const std::string text = service_test::random_configuration(random);
    const ConfigurationText read = read_configuration_text(text);
    ASSERT_EQ(problems_of(read), "") << text;
    ASSERT_EQ(read.text, text);
  }
}

TEST(ConfigurationText, takes_abbreviations_both_layouts_and_other_line_ends) {
  const ConfigurationText read = read_configuration_text(
      "! comment\r\n"
      "conf t\r\n"
      "  feat sched\r\n"
      "  scheduler job name backup\r\n"
      "first; second\r\n"
      "end\r\n"
      "\r\n"
      "config terminal\n"
      "  sched job name one commands a;b\n"
      "  scheduler schedule name nightly\n"
      "    time weekly sun:2:5\n"
      "    job name backup\n"
      "    email-addr a@b\n"
      "end\n"
      "scheduler disable schedule nightly\n"
      "scheduler schedule name nightly\n"
      "job name one\n");
  EXPECT_EQ(problems_of(read), "");
  EXPECT_EQ(read.text,
            "feature scheduler\n"
            "scheduler job name backup\nfirst; second\nend-job\n\n"
            "scheduler job name one\na\nb\nend-job\n\n"
            "scheduler schedule name nightly\n job name backup\n job name one\n  time weekly 01:02:05\n"
            "email-addr a@b\nscheduler disable schedule nightly\n\n");
  EXPECT_EQ(read.lines, (std::vector<size_t>{3, 4, 5, 4, 4, 9, 9, 9, 9, 9, 10, 12, 17, 11, 13, 15, 10}));
}

TEST(ConfigurationText, tells_every_wrong_line) {
  const ConfigurationText read = read_configuration_text(
      "what\n"
      "show scheduler job\n"
      "scheduler schedule name x\n"
      "time daily x\n"
      "no job name y\n"
      "no feature scheduler\n"
      "scheduler disable schedule z\n"
      "scheduler job name open\n"
      "a\n");
  ASSERT_EQ(read.problems.size(), 6u) << problems_of(read);
  EXPECT_THAT(problems_of(read), HasSubstr("1: \"what\" at column 1 is not known here"));
  EXPECT_THAT(problems_of(read), HasSubstr("2: \"show scheduler job\" is no part of a configuration\n"));
  EXPECT_THAT(problems_of(read), HasSubstr("4: \"x\" is no such time\n"));
  EXPECT_THAT(problems_of(read), HasSubstr("5: \"no job name y\" is no part of a configuration\n"));
  EXPECT_THAT(problems_of(read), HasSubstr("7: schedule z is not defined before\n"));
  EXPECT_THAT(problems_of(read), HasSubstr("9: the input ends before the 'end-job' of job open\n"));
}

}  // namespace
}  // namespace shell
