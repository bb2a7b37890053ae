// SPDX-License-Identifier: Apache-2.0
// What each line of a configuration's text means, and what is said of those that mean nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedcli_requests.h"
#include "service/configuration/text.h"
#include "service/configuration/time_line.h"

namespace service_test {
namespace {

using service::ConfigurationRead;
using service::GlobalSettings;
using service::Owners;
using service::read_configuration;

std::string problems_of(const std::string &text, Owners owners = Owners::omitted) {
  std::string all;
  for (const service::LineProblem &problem : read_configuration(text, owners).problems)
    all += std::to_string(problem.line) + " " + problem.text + "\n";
  return all;
}

// The record's fields in a row, or which of the two refusals it is.
std::string time_in(const std::string &line) {
  const host::Result<sch_tminfo> read = service::read_time_line(line);
  if (!read) {
    EXPECT_THAT(read.error().text, ::testing::StartsWith("\"" + line + "\" is "));
    return read.error().text.substr(line.size() + 6);
  }
  std::string text = std::to_string(read->type);
  for (const int field : {read->year, read->month, read->day_of_month, read->day_of_week, read->hour, read->minute,
                          read->start_time, read->last_run})
    text += " " + std::to_string(field);
  return text;
}

struct TimeCase {
  const char *line, *meaning;
};

void expect_times(const std::vector<TimeCase> &rows) {
  for (const TimeCase &row : rows)
    EXPECT_EQ(time_in(row.line), row.meaning) << row.line;
}

constexpr char no_time[] = "no time", out_of_range[] = "a time out of range";

TEST(TimeLine, of_a_recurring_time_has_its_numbers_and_no_others) {
  const std::string type_daily = std::to_string(SCH_SCHEDULE_DAILY), type_weekly = std::to_string(SCH_SCHEDULE_WEEKLY),
                    type_monthly = std::to_string(SCH_SCHEDULE_MONTHLY);
  expect_times({{"", "0 0 0 0 0 0 0 0 0"},
                {"daily 0:00", (type_daily + " 0 0 0 0 0 0 0 0").c_str()},
                {"daily 23:59", (type_daily + " 0 0 0 0 23 59 0 0").c_str()},
                {"weekly 1:02:03", (type_weekly + " 0 0 0 1 2 3 0 0").c_str()},
                {"weekly 7:23:59", (type_weekly + " 0 0 0 7 23 59 0 0").c_str()},
                {"monthly 31:04:05", (type_monthly + " 0 0 31 0 4 5 0 0").c_str()}});
  expect_times({{"daily 24:00", out_of_range},
                {"daily 23:60", out_of_range},
                {"weekly 0:01:02", out_of_range},
                {"weekly 8:01:02", out_of_range},
                {"monthly 0:01:02", out_of_range},
                {"monthly 32:01:02", out_of_range},
                {"daily", no_time},
                {"daily 1", no_time},
                {"daily 1:2:3", no_time},
                {"weekly 1:2", no_time},
                {"monthly 1:2:3:4", no_time},
                {"hourly 1:2", no_time},
                {"daily 1:", no_time},
                {"daily :05", no_time},
                {"daily 1::2", no_time},
                {"daily 1.2", no_time},
                {"daily 1:2x", no_time},
                {"daily -1:00", no_time},
                {"daily -0:00", no_time},
                {"daily 99999999999:01", no_time},
                {"daily  1:2", no_time}});
}

TEST(TimeLine, of_a_start_is_a_day_that_there_is_at_a_time_of_it) {
  const std::string once = std::to_string(SCH_SCHEDULE_ONESHOT);
  expect_times({{"start 2027:7:15:12:34", (once + " 127 6 15 0 12 34 0 0").c_str()},
                {"start 1970:01:01:00:00", (once + " 70 0 1 0 0 0 0 0").c_str()},
                {"start 2105:12:31:23:59", (once + " 205 11 31 0 23 59 0 0").c_str()},
                {"start 2028:2:29:1:2", (once + " 128 1 29 0 1 2 0 0").c_str()}});
  expect_times({{"start 1969:12:31:23:59", out_of_range},
                {"start 2106:1:1:0:0", out_of_range},
                {"start 2027:0:1:0:0", out_of_range},
                {"start 2027:13:1:0:0", out_of_range},
                {"start 2027:7:0:0:0", out_of_range},
                {"start 2027:7:32:0:0", out_of_range},
                {"start 2027:4:31:0:0", out_of_range},
                {"start 2027:2:29:0:0", out_of_range},
                {"start 2027:7:1:24:0", out_of_range},
                {"start 2027:7:1:0:60", out_of_range},
                {"start 2027:7:1:0", no_time},
                {"start 2027:7:1:0:0:0", no_time},
                {"start", no_time},
                {"start x", no_time}});
}

// Of 32 bits the start and the first time after it: one a minute later than these does not fit.
TEST(TimeLine, of_a_period_holds_what_fits_the_library) {
  const std::string every = std::to_string(SCH_SCHEDULE_PERIODIC);
  expect_times({{"start 2027:7:1:12:34 repeat 1:2:3", (every + " 0 0 0 1 2 3 1814445240 0").c_str()},
                {"start 1970:1:1:0:1 repeat 0:0:1", (every + " 0 0 0 0 0 1 60 0").c_str()},
                {"start 1970:1:1:0:1 repeat 24855:3:13", (every + " 0 0 0 24855 3 13 60 0").c_str()},
                {"start 1970:1:1:0:1 repeat 0:596523:13", (every + " 0 0 0 0 596523 13 60 0").c_str()},
                {"start 1970:1:1:0:1 repeat 0:0:35791393", (every + " 0 0 0 0 0 35791393 60 0").c_str()},
                {"start 2038:1:19:3:13 repeat 0:0:1", (every + " 0 0 0 0 0 1 2147483580 0").c_str()}});
  expect_times({{"start 1970:1:1:0:0 repeat 0:0:1", out_of_range},
                {"start 1970:1:1:0:1 repeat 24855:3:14", out_of_range},
                {"start 2038:1:19:3:14 repeat 0:0:1", out_of_range},
                {"start 2027:7:1:12:34 repeat 0:0:0", out_of_range},
                {"start 2027:7:32:12:34 repeat 0:0:1", out_of_range},
                {"start 2027:7:1:12:34 repeat 0:1", no_time},
                {"start 2027:7:1:12:34 repeat 0:0:0:1", no_time},
                {"start 2027:7:1:12:34 repeat", no_time},
                {"start 2027:7:1:12:34 again 0:0:1", no_time},
                {"start 2027:7:1:12:34 0:0:1", no_time}});
}

TEST(TimeLine, is_written_as_the_library_shows_it) {
  for (const char *line : {"", "daily 03:04", "weekly 01:03:04", "monthly 31:03:04", "start 2027:07:01:12:34",
                           "start 2027:07:01:12:34 repeat 1:2:3"}) {
    const host::Result<sch_tminfo> read = service::read_time_line(line);
    ASSERT_TRUE(read.ok()) << line;
    EXPECT_EQ(service::time_line(*read), line);
  }
}

struct WrongLine {
  std::string text, problem;
};

TEST(ConfigurationLine, that_means_nothing_is_objected_to_by_its_number) {
  const std::string a_job = "scheduler job name a\n", a_schedule = "scheduler schedule name a\n", long_name(32, 'n');
  const WrongLine rows[] = {
      {"\n  \nwhat\n", "3 \"what\" is no line of a configuration\n"},
      {"feature\n", "1 \"feature\" is no line of a configuration\n"},
      {"no feature scheduler \n", "1 \"no feature scheduler \" is no line of a configuration\n"},
      {" feature scheduler\n", "1 \" feature scheduler\" is no line of a configuration\n"},
      {"\033[2J\n", "1 \"^[[2J\" is no line of a configuration\n"},
      {"! comment\n! owner: x y\n\n", ""},
      {"scheduler logfile size 0\n", "1 \"0\" is no size of the log\n"},
      {"scheduler logfile size 1\nscheduler logfile size 16384\n", ""},
      {"scheduler logfile size 16385\n", "1 \"16385\" is no size of the log\n"},
      {"scheduler logfile size 17x\n", "1 \"17x\" is no size of the log\n"},
      {"scheduler logfile size \n", "1 \"\" is no size of the log\n"},
      {"logging level scheduler -1\n", "1 \"-1\" is no logging level\n"},
      {"logging level scheduler 0\nlogging level scheduler 7\n", ""},
      {"logging level scheduler 8\n", "1 \"8\" is no logging level\n"},
      {"scheduler transport\n", "1 \"scheduler transport\" is no line of a configuration\n"},
      {"scheduler transport email to a@b\n", "1 \"scheduler transport email to a@b\" is no line of a configuration\n"},
      {"scheduler transport email from \n", "1 \"\" is no e-mail address\n"},
      {"scheduler transport email from a b\n", "1 \"a b\" is no e-mail address\n"},
      {"scheduler transport email from a\x7f\n", "1 \"a^?\" is no e-mail address\n"},
      {"scheduler transport email from a!~\n", ""},
      {"scheduler transport email reply-to " + std::string(63, 'a') + "\n", ""},
      {"scheduler transport email reply-to " + std::string(64, 'a') + "\n",
       "1 \"" + std::string(64, 'a') + "\" is no e-mail address\n"},
      {"scheduler transport email smtp-server \n", "1 \"\" is no host\n"},
      {"scheduler transport email smtp-server   h port 1 vrf v\n", ""},
      {"scheduler transport email smtp-server h port 65535\n", ""},
      {"scheduler transport email smtp-server h port 0\n", "1 \"0\" is no port\n"},
      {"scheduler transport email smtp-server h port 65536\n", "1 \"65536\" is no port\n"},
      {"scheduler transport email smtp-server h vrf v port 1\n", "1 \" port 1\" is no setting of a mail server\n"},
      {"scheduler transport email smtp-server h vrf \xc3\xa4\n", "1 \"\xc3\xa4\" is no VRF\n"},
      {"scheduler logfile name nowhere:x\n", "1 "},
      {a_job, "1 the text ends before the job's 'end-job'\n"},
      {a_job + "end-job \n", "2 the text ends before the job's 'end-job'\n"},
      {a_job + "end-job\n" + a_job + "end-job\n", "3 job a is defined twice\n"},
      {"scheduler job name " + long_name + "\nend-job\n", "1 \"" + long_name + "\" is no job's name\n"},
      {a_job + "x\n\ty\nend-job\nwhat\n", "5 \"what\" is no line of a configuration\n"},
      {a_job + "x\n\033\nend-job\nwhat\n",
       "1 the text of job a has a control character\n5 \"what\" is no line of a configuration\n"},
      {a_job + std::string("\0\nend-job\n", 10), "1 the text of job a has a control character\n"},
      {a_job + std::string(SCH_JOB_TEXT_LIMIT - 1, 'x') + "\nend-job\n", ""},
      {a_job + std::string(SCH_JOB_TEXT_LIMIT, 'x') + "\nend-job\n", "1 the text of job a is too long\n"},
      {a_schedule + "\n" + a_schedule, "3 schedule a is defined twice\n"},
      {"scheduler schedule name " + long_name + "\n", "1 \"" + long_name + "\" is no schedule's name\n"},
      {a_schedule + " job name a\njob name b\n   job name a\n", "4 job a is assigned twice\n"},
      {a_schedule + " job name a b\n", "2 \"a b\" is no job's name\n"},
      {a_schedule + "  time daily 1:2\n  time daily 1:2\n", "3 the schedule has two times\n"},
      {a_schedule + "  time daily 24:2\n", "2 \"daily 24:2\" is a time out of range\n"},
      {a_schedule + "email-addr a@b\n  \nemail-addr a@c\nemail-addr a@b\n", "5 address a@b is given twice\n"},
      {a_schedule + "email-addr a b\n", "2 \"a b\" is no e-mail address\n"},
      {a_schedule + "scheduler disable schedule b\n",
       "2 \"scheduler disable schedule b\" is no line of a configuration\n"},
      {a_schedule + "feature scheduler\n job name a\n", "3 \" job name a\" is no line of a configuration\n"},
      {"scheduler aaa-authentication username a secret\n",
       "1 \"scheduler aaa-authentication username a secret\" is no line of a configuration\n"},
      {"scheduler aaa-authentication username a password 7 short\n", "1 \"short\" is no sealed password\n"},
  };
  for (const WrongLine &row : rows) {
    const std::string problems = problems_of(row.text);
    if (row.problem == "1 ")
      EXPECT_THAT(problems, ::testing::StartsWith(row.problem)) << row.text;
    else
      EXPECT_EQ(problems, row.problem) << row.text.substr(0, 200);
  }
}

TEST(ConfigurationLine, of_an_address_may_stand_ten_times_in_a_schedule) {
  std::string text = "scheduler schedule name a\n";
  for (int i = 0; i < 10; i++)
    text += "email-addr a" + std::to_string(i) + "@b\n";
  EXPECT_EQ(problems_of(text), "");
  EXPECT_EQ(problems_of(text + "email-addr x@b\n"), "12 a schedule has at most 10 addresses\n");
}

TEST(ConfigurationLine, of_a_password_is_one_users_and_as_long_as_sealed_ones_are) {
  const std::string start = "scheduler aaa-authentication username ", sealed(127, 's');
  const ConfigurationRead read = read_configuration("\n" + start + "anna password 7 " + sealed + "\n");
  EXPECT_TRUE(read.problems.empty());
  ASSERT_EQ(read.passwords.size(), 1u);
  EXPECT_EQ(read.passwords[0].user, "anna");
  EXPECT_EQ(read.passwords[0].sealed, sealed);
  EXPECT_EQ(read.passwords[0].line, 2u);
  std::string blank = sealed;
  blank[5] = ' ';
  for (const std::string &wrong : {sealed + "s", sealed.substr(1), blank})
    EXPECT_EQ(problems_of(start + "anna password 7 " + wrong + "\n"), "1 \"" + wrong + "\" is no sealed password\n");
  EXPECT_EQ(problems_of(start + "a:b password 7 " + sealed + "\n"), "1 \"a:b\" is no user's name\n");
  const std::string anna = start + "anna password 7 " + sealed + "\n",
                    bert = start + "bert password 7 " + sealed + "\n";
  EXPECT_EQ(problems_of(anna + bert), "");
  EXPECT_EQ(problems_of(anna + bert + anna), "3 anna has two passwords\n");
}

TEST(ConfigurationText, is_read_and_written_with_everything_that_it_may_have) {
  const std::string text =
      "feature scheduler\n"
      "scheduler logfile size 17\n\n"
      "scheduler logfile name flash:log\n\n"
      "scheduler transport email from from@b\n"
      "scheduler transport email reply-to to@b\n"
      "scheduler transport email smtp-server mail.b port 26 vrf blue\n"
      "! owner: 0 root\n"
      "scheduler job name first\necho 1\n\n  echo 2\nend-job\n\n"
      "scheduler job name second\nend-job\n\n"
      "! owner: 4294967293 anna\n"
      "scheduler schedule name s\n job name first\n job name second\n  time daily 23:30\n"
      "email-addr a@b\nemail-addr c@d\nscheduler disable schedule s\n\n"
      "scheduler schedule name t\n  \n"
      "logging level scheduler 4\n"
      "no feature scheduler\n";
  const ConfigurationRead read = read_configuration(text, Owners::in_comments);
  EXPECT_THAT(problems_of(text, Owners::in_comments), "");
  const service::Configuration &found = read.configuration;
  EXPECT_EQ(service::text_of(found, Owners::in_comments), text);
  ASSERT_EQ(found.jobs.size(), 2u);
  EXPECT_EQ(found.jobs[0].text, "echo 1\n\n  echo 2\n");
  EXPECT_EQ(found.jobs[0].owner, (service::OwnerName{1, "root"}));
  EXPECT_EQ(found.jobs[0].line, 10u);
  EXPECT_EQ(found.jobs[1].owner, service::OwnerName());
  ASSERT_EQ(found.schedules.size(), 2u);
  EXPECT_EQ(found.schedules[0].owner, (service::OwnerName{UINT32_MAX - 1, "anna"}));
  EXPECT_EQ(found.schedules[0].line, 20u);
  EXPECT_FALSE(found.schedules[0].enabled);
  EXPECT_TRUE(found.schedules[1].enabled);
  EXPECT_EQ(found.schedules[1].owner, service::OwnerName());
  const service::Configuration unowned = read_configuration(text).configuration;
  EXPECT_EQ(unowned.jobs[0].owner, service::OwnerName());
  EXPECT_THAT(service::text_of(unowned), ::testing::Not(::testing::HasSubstr("owner")));
}

TEST(ConfigurationText, has_owners_that_can_be_numbers_of_users) {
  EXPECT_EQ(problems_of("! owner: 4294967294 x\n", Owners::in_comments), "1 \"4294967294\" is no owner\n");
  EXPECT_EQ(problems_of("! owner: -1 x\n", Owners::in_comments), "1 \"-1\" is no owner\n");
  EXPECT_EQ(problems_of("! owned: x\n", Owners::in_comments), "");
}

TEST(ConfigurationText, says_nothing_of_what_is_as_usual) {
  service::Configuration usual;
  EXPECT_EQ(service::text_of(usual), "");
  usual.settings.feature = true;
  EXPECT_EQ(service::text_of(usual), "feature scheduler\n");
  usual.settings.feature = false;
  EXPECT_EQ(service::text_of(usual), "no feature scheduler\n");
  usual.settings.feature = std::nullopt;
  usual.settings.mail_server = {"h", "management", 25};
  EXPECT_EQ(service::text_of(usual), "scheduler transport email smtp-server  h\n");
  usual.settings.mail_server = {"h", "v", 26};
  EXPECT_EQ(service::text_of(usual), "scheduler transport email smtp-server h port 26 vrf v\n");
  usual.settings.mail_server = {"", "v", 26};
  EXPECT_EQ(service::text_of(usual), "");
  usual.passwords = {{"anna", "sealed"}};
  EXPECT_EQ(service::text_of(usual), "scheduler aaa-authentication username anna password 7 sealed\n");
}

TEST(ConfigurationText, leaves_the_settings_that_it_does_not_have_as_they_were) {
  GlobalSettings base;
  base.feature = true;
  base.log_kilobytes = 17;
  base.mail_from = "a@b";
  base.mail_server = {"h", "v", 26};
  base.logging_level = 3;
  EXPECT_EQ(read_configuration("", Owners::omitted, base).configuration.settings, base);
  const std::string server = "scheduler transport email smtp-server other vrf management\n";
  base.mail_server = {"other", "", 25};
  EXPECT_EQ(read_configuration(server, Owners::omitted, base).configuration.settings, base);
  base.feature = false;
  EXPECT_EQ(read_configuration("no feature scheduler\n", Owners::omitted, base).configuration.settings, base);
}

}  // namespace
}  // namespace service_test
