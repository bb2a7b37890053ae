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

// Disabled, the scheduler would take none of the lines behind.
TEST(ConfigurationText, disables_the_feature_behind_all_that_is_configured) {
  EXPECT_EQ(read_configuration_text("no feature scheduler\nlogging level scheduler 6\n").text,
            "feature scheduler\nlogging level scheduler 6\nno feature scheduler\n");
  EXPECT_EQ(read_configuration_text("feature scheduler\nno feature scheduler\n").text, "no feature scheduler\n");
  EXPECT_EQ(read_configuration_text("no feature scheduler\nfeature scheduler\n").text, "feature scheduler\n");
}

TEST(ConfigurationText, takes_passwords_with_their_users_and_sealed_alone) {
  const ConfigurationText read = read_configuration_text(
      "scheduler job name x commands id\n"
      "sched aaa user zoe password 7 SEALED\n"
      "scheduler aaa-authentication username zoe password 0 clear\n"
      "scheduler aaa-authentication password 7 SEALED\n"
      "scheduler aaa-authentication username amy password 7 OTHER\n");
  EXPECT_EQ(read.text,
            "scheduler aaa-authentication username amy password 7 OTHER\n"
            "scheduler aaa-authentication username zoe password 7 SEALED\n"
            "scheduler job name x\nid\nend-job\n\n");
  const std::string problem = "a text has passwords with their users and sealed: username NAME password 7 TEXT\n";
  EXPECT_EQ(problems_of(read), "3: " + problem + "4: " + problem);
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
