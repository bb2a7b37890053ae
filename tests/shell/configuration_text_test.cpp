// SPDX-License-Identifier: Apache-2.0
#include "shell/configuration_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

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

TEST(ConfigurationText, has_settings_and_objects_in_the_services_order) {
  const ConfigurationText read = read_configuration_text(
      "logging level scheduler 6\n"
      "scheduler schedule name s\n"
      "email-addr a@b\n"
      "scheduler transport email smtp-server m port 2525 vrf red\n"
      "scheduler transport email reply-to r@b\n"
      "scheduler transport email from f@b\n"
      "scheduler logfile name flash:x\n"
      "scheduler logfile size 16\n"
      "scheduler logfile size 32\n"
      "scheduler job name a commands x;;y;\n"
      "scheduler enable schedule s\n"
      "scheduler schedule name t\n"
      "scheduler disable schedule t\n"
      "scheduler enable schedule t\n"
      "exit\n"
      "feature scheduler\n");
  EXPECT_EQ(problems_of(read), "");
  EXPECT_EQ(read.text,
            "feature scheduler\nscheduler logfile size 32\n\nscheduler logfile name flash:x\n\n"
            "scheduler transport email from f@b\nscheduler transport email reply-to r@b\n"
            "scheduler transport email smtp-server m port 2525 vrf red\n"
            "scheduler job name a\nx\n\ny\nend-job\n\n"
            "scheduler schedule name s\n  email-addr a@b\n\nscheduler schedule name t\n  \n"
            "logging level scheduler 6\n");
  EXPECT_EQ(read.lines.front(), 16u);
  EXPECT_EQ(read.lines[1], 9u);
  EXPECT_EQ(read_configuration_text("scheduler transport email smtp-server m\n").text,
            "scheduler transport email smtp-server  m\n");
}

TEST(ConfigurationText, of_a_mode_ends_with_the_commands_that_leave_it) {
  for (const std::string leaving : {"end", "exit", "configure terminal", "scheduler logfile size 32",
                                    "scheduler job name x commands y", "feature scheduler"}) {
    const ConfigurationText read =
        read_configuration_text("scheduler schedule name s\n" + leaving + "\ntime daily 1:00\n");
    EXPECT_THAT(problems_of(read), testing::StartsWith("3: \"time\" at column 1 is not known here")) << leaving;
  }
  EXPECT_EQ(problems_of(
                read_configuration_text("scheduler schedule name s\nscheduler disable schedule s\ntime daily 1:00\n")),
            "");
}

TEST(ConfigurationText, has_no_control_character) {
  EXPECT_EQ(problems_of(read_configuration_text("feature \x1b scheduler\n")), "1: a control character at column 9\n");
  EXPECT_EQ(
      problems_of(read_configuration_text("\nscheduler job name x\na\x07\nend-job\n")),
      "4: line 1 of the job's text has ^G at byte 2; of control characters only tabs and line ends may be in it\n");
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

std::string time_of(const std::string &line) {
  const ConfigurationText read = read_configuration_text("scheduler schedule name s\n" + line + "\n");
  if (!read.problems.empty()) return problems_of(read);
  const size_t begin = read.text.find("  time ") + 7;
  return read.text.substr(begin, read.text.find('\n', begin) - begin);
}

tm local_time() {
  const time_t now = time(nullptr);
  tm fields = {};
  localtime_r(&now, &fields);
  return fields;
}

TEST(ConfigurationText, has_times_in_the_form_that_the_service_writes) {
  setenv("TZ", "UTC", 1);
  tzset();
  const std::pair<const char *, const char *> rows[] = {
      {"time daily 1:2", "daily 01:02"},
      {"time daily 0:00", "daily 00:00"},
      {"time weekly sat:23:59", "weekly 07:23:59"},
      {"time monthly 31:1:02", "monthly 31:01:02"},
      {"time start 2020:feb:29:1:2", "start 2020:02:29:01:02"},
      {"time start 2099:12:31:23:59", "start 2099:12:31:23:59"},
      {"time start 2020:1:1:0:0 repeat 1:02:3", "start 2020:01:01:00:00 repeat 1:2:3"},
      {"time start 2020:1:1:0:0 repeat 90", "start 2020:01:01:00:00 repeat 0:0:90"},
  };
  for (const auto &[line, time] : rows)
    EXPECT_EQ(time_of(line), time) << line;
}

TEST(ConfigurationText, has_times_completed_by_the_present) {
  setenv("TZ", "UTC", 1);
  tzset();
  tm before = {}, after = {};
  std::vector<std::string> times;
  do {  // once, but at the end of an hour
    before = local_time();
    times = {time_of("time daily 5"), time_of("time weekly 2:05"), time_of("time monthly 2:05"),
             time_of("time weekly 5")};
    after = local_time();
  } while (before.tm_hour != after.tm_hour);
  const auto two = [](int number) { return (number < 10 ? "0" : "") + std::to_string(number); };
  EXPECT_EQ(times, (std::vector{"daily " + two(after.tm_hour) + ":05", "weekly " + two(after.tm_wday + 1) + ":02:05",
                                "monthly " + two(after.tm_mday) + ":02:05",
                                "weekly " + two(after.tm_wday + 1) + ":" + two(after.tm_hour) + ":05"}));
}

TEST(ConfigurationText, has_a_period_begin_in_two_minutes_where_no_start_is_given) {
  setenv("TZ", "UTC", 1);
  tzset();
  const auto in_two_minutes = [] {
    const time_t start = time(nullptr) + 120;
    tm fields = {};
    localtime_r(&start, &fields);
    char text[64];
    return std::string(text, std::strftime(text, sizeof text, "start %Y:%m:%d:%H:%M repeat 0:1:30", &fields));
  };
  const std::string before = in_two_minutes(), time = time_of("time repeat 1:30");
  EXPECT_TRUE(time == before || time == in_two_minutes()) << time;
}

TEST(ConfigurationText, has_no_times_that_there_are_not) {
  for (const char *time : {"daily 24:00", "daily 0:60", "daily x", "daily 1:2:3:4:5:6", "weekly 8:0:0", "weekly 0:0:0",
                           "monthly 32:0:0", "monthly 0:0:0", "start 2026:13:1:0:0", "start x", "start 2026:1:1:0:60",
                           "start 2099:1:1:0:0 repeat x", "start x repeat 1", "repeat :1"})
    EXPECT_THAT(time_of(std::string("time ") + time), HasSubstr("\" is no such time\n")) << time;
}

}  // namespace
}  // namespace shell
