// SPDX-License-Identifier: Apache-2.0
#include "shell/crontab.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedcli.h"

namespace shell {
namespace {

using testing::HasSubstr;

CrontabImport imported(const std::string &text, bool has_users = false) {
  CrontabImport import;
  add_crontab({"/etc/cron.d/site", has_users, "root"}, text, &import);
  return import;
}

std::string all(const std::vector<CrontabRemark> &remarks) {
  std::string text;
  for (const CrontabRemark &remark : remarks)
    text += remark.place + " " + remark.text + "\n";
  return text;
}

std::string times_of(const std::string &line) {
  const CrontabImport import = imported(line + " x\n");
  std::string times = all(import.left_out);
  for (size_t at = 0; (at = import.configuration.find("  time ", at)) != std::string::npos; at++)
    times += import.configuration.substr(at + 7, import.configuration.find('\n', at) + 1 - at - 7);
  return times;
}

TEST(Crontab, lines_become_jobs_and_schedules_with_their_environment) {
  const CrontabImport import = imported(
      "# comment\r\n"
      "PATH = \"/usr/bin:/bin\"\r\n"
      "MAILTO=ops@example.net, root\n"
      "CRON_TZ=Europe/Berlin\n"
      "30 2 * * *  backup 'it''s' --all\r\n"
      "NAME=it's\n"
      "0 9 * * mon,Fri report 10\\% %first%second\n");
  EXPECT_EQ(import.configuration,
            "scheduler job name cron-site-5\n"
            "export PATH='/usr/bin:/bin'\n"
            "backup 'it''s' --all\n"
            "end-job\n\n"
            "scheduler job name cron-site-7\n"
            "export PATH='/usr/bin:/bin'\n"
            "export NAME='it'\\''s'\n"
            "report 10%  <<'END-OF-INPUT'\nfirst\nsecond\nEND-OF-INPUT\n"
            "end-job\n\n"
            "scheduler schedule name cron-site-5\n job name cron-site-5\n  time daily 02:30\n"
            "email-addr ops@example.net\n\n"
            "scheduler schedule name cron-site-7-1\n job name cron-site-7\n  time weekly 02:09:00\n"
            "email-addr ops@example.net\n\n"
            "scheduler schedule name cron-site-7-2\n job name cron-site-7\n  time weekly 06:09:00\n"
            "email-addr ops@example.net\n\n");
  EXPECT_EQ(all(import.left_out), "");
  EXPECT_EQ(all(import.notes),
            "/etc/cron.d/site:3 mail to root is left out: an address has a host\n"
            "/etc/cron.d/site:4 CRON_TZ=Europe/Berlin is left out: schedules are due by the service's zone\n");
}

TEST(Crontab, times_that_a_schedule_or_some_can_have) {
  EXPECT_EQ(times_of("*/15 * * * *"), "start 2026:01:01:00:00 repeat 0:0:15\n");
  EXPECT_EQ(times_of("5-59/20 * * * *"), "start 2026:01:01:00:05 repeat 0:0:20\n");
  EXPECT_EQ(times_of("7 * * * *"), "start 2026:01:01:00:07 repeat 0:1:0\n");
  EXPECT_EQ(times_of("0,10 * * * *"), "start 2026:01:01:00:00 repeat 0:1:0\nstart 2026:01:01:00:10 repeat 0:1:0\n");
  EXPECT_EQ(times_of("* * * * *"), "start 2026:01:01:00:00 repeat 0:0:1\n");
  EXPECT_EQ(times_of("0 */12 * * *"), "daily 00:00\ndaily 12:00\n");
  EXPECT_EQ(times_of("15 3 1,15 * *"), "monthly 01:03:15\nmonthly 15:03:15\n");
  EXPECT_EQ(times_of("15 3 * * 7"), "weekly 01:03:15\n");
  EXPECT_EQ(times_of("59 23 * * *"), "daily 23:59\n");
  EXPECT_EQ(times_of("0 0 28 * *"), "monthly 28:00:00\n");
  EXPECT_EQ(times_of("0 0 * 1-12 *"), "daily 00:00\n");
  EXPECT_EQ(times_of("0 0 * * 0-7"), "daily 00:00\n");
  EXPECT_EQ(times_of("0 0 * * sun"), "weekly 01:00:00\n");
  EXPECT_EQ(times_of("0 0 * * 6"), "weekly 07:00:00\n");
  EXPECT_EQ(times_of("0,30 5-6 * * *"), "daily 05:00\ndaily 05:30\ndaily 06:00\ndaily 06:30\n");
  EXPECT_EQ(times_of("50/5 * * * *"), "start 2026:01:01:00:50 repeat 0:1:0\nstart 2026:01:01:00:55 repeat 0:1:0\n");
  EXPECT_EQ(times_of("@midnight"), "daily 00:00\n");
  EXPECT_EQ(times_of("@weekly"), "weekly 01:00:00\n");
  EXPECT_EQ(times_of("@monthly"), "monthly 01:00:00\n");
  EXPECT_EQ(times_of("@daily"), "daily 00:00\n");
  EXPECT_EQ(times_of("@hourly"), "start 2026:01:01:00:00 repeat 0:1:0\n");
}

TEST(Crontab, a_line_is_no_more_than_one_job_whatever_is_in_it) {
  struct Row {
    const char *line, *why;
  };
  const Row rows[] = {
      {"@daily cat%end-job%scheduler job name other%true", "'end-job' would end the job"},
      {"@daily cat%end", "'end' would end the job"},
      {"@daily cat%x\ry", "^M at byte 2"},
      {"@daily echo \x1b[2J", "^[ at byte 6"},
  };
  for (const Row &row : rows) {
    const CrontabImport import = imported(row.line + std::string("\n"));
    EXPECT_EQ(import.configuration, "") << row.line;
    EXPECT_THAT(all(import.left_out), HasSubstr(row.why));
  }
}

TEST(Crontab, a_commands_input_ends_by_no_line_of_its_own) {
  EXPECT_THAT(imported("@daily cat%END-OF-INPUT%rm x%END-OF-INPUT-\n").configuration,
              HasSubstr("cat <<'END-OF-INPUT--'\nEND-OF-INPUT\nrm x\nEND-OF-INPUT-\nEND-OF-INPUT--\nend-job\n"));
}

TEST(Crontab, mail_goes_to_each_address_once_and_to_no_more_than_a_schedule_has) {
  std::string many = "MAILTO=a@b, a@b,x@y z,";
  for (int i = 0; i < SCH_MAX_EMAIL_IDS; i++)
    many += "c" + std::to_string(i) + "@d,";
  const CrontabImport import = imported(many + "\n@daily true\n");
  size_t addresses = 0;
  for (size_t at = 0; (at = import.configuration.find("email-addr ", at)) != std::string::npos; at++)
    addresses++;
  EXPECT_EQ(addresses, size_t{SCH_MAX_EMAIL_IDS});
  EXPECT_THAT(all(import.notes), HasSubstr("mail to x@y z is left out"));
  EXPECT_THAT(all(import.notes), HasSubstr("no more than"));
}

TEST(Crontab, tells_what_cannot_be_and_why_and_what_is_nearest) {
  EXPECT_THAT(times_of("0 0 1 1 *"), HasSubstr("some months alone; nearest: time monthly 01:00:00"));
  EXPECT_THAT(times_of("@yearly"), HasSubstr("some months alone; nearest: time monthly 01:00:00"));
  EXPECT_THAT(times_of("0 0 13 * 5"), HasSubstr("on a day that is both; nearest: time weekly 06:00:00"));
  EXPECT_THAT(times_of("0 0 31 * *"), HasSubstr("a month without day 31"));
  EXPECT_THAT(times_of("*/5 8-18 * * *"), HasSubstr("132 schedules; nearest: time repeat"));
  EXPECT_THAT(times_of("@reboot"), HasSubstr("nearest: a unit of the system manager"));
  EXPECT_THAT(times_of("61 * * * *"), HasSubstr("\"61\" is no minute"));
  EXPECT_THAT(times_of("0 24 * * *"), HasSubstr("\"24\" is no hour"));
  EXPECT_THAT(times_of("garbage"), HasSubstr("\"garbage\" is no minute"));
  EXPECT_THAT(times_of("1-0 * * * *"), HasSubstr("no minute"));
  for (const std::string hour : {"*/0", "1x", "-1", "*/", "*/2x", "1-", "24", "jan", "1,,2", "5,"})
    EXPECT_THAT(times_of("0 " + hour + " * * *"), HasSubstr("\"" + hour + "\" is no hour"));
  EXPECT_THAT(times_of("60 * * * *"), HasSubstr("\"60\" is no minute"));
  EXPECT_THAT(times_of("0 0 0 * *"), HasSubstr("\"0\" is no day of the month"));
  EXPECT_THAT(times_of("0 0 32 * *"), HasSubstr("\"32\" is no day of the month"));
  EXPECT_THAT(times_of("0 0 * 13 *"), HasSubstr("\"13\" is no month"));
  EXPECT_THAT(times_of("0 0 * decx *"), HasSubstr("\"decx\" is no month"));
  EXPECT_THAT(times_of("0 0 * dec *"), HasSubstr("some months alone; nearest: time daily 00:00"));
  EXPECT_THAT(times_of("0 0 * * 8"), HasSubstr("\"8\" is no day of the week"));
  EXPECT_THAT(times_of("0 0 29 * *"), HasSubstr("a month without day 29"));
  EXPECT_THAT(times_of("@sometimes"), HasSubstr("\"@sometimes\" is no time"));
  EXPECT_THAT(times_of("@annually"), HasSubstr("some months alone; nearest: time monthly 01:00:00"));
}

TEST(Crontab, lines_become_no_more_than_24_schedules) {
  const auto count = [](const std::string &times) { return std::count(times.begin(), times.end(), '\n'); };
  EXPECT_EQ(count(times_of("*/5 8-9 * * *")), 24);
  EXPECT_THAT(times_of("0,1,2,3,5 1-5 * * *"), HasSubstr("it would need 25 schedules; nearest: time repeat, and"));
  EXPECT_EQ(count(times_of("0-23 * * * *")), 24);
  EXPECT_THAT(times_of("0-24 * * * *"), HasSubstr("it would need 25 schedules; nearest: time repeat 0:0:1"));
}

TEST(Crontab, settings_are_what_looks_like_one) {
  const CrontabImport import = imported(
      "A_1 = \t'b c' \n"
      "A_1=\"d\"\n"
      "\"Q\"=x\n"
      "E=\n"
      "M='\n"
      "SHELL=/bin/dash\n"
      "@daily a=b c\n"
      "* * * * * d=e f\n"
      "1x=y\n"
      "x y=z\n"
      "=v\n");
  const std::string settings =
      "export A_1='d'\nexport Q='x'\nexport E=''\nexport M=''\\'''\nexport SHELL='/bin/dash'\n";
  EXPECT_THAT(import.configuration, HasSubstr("cron-site-7\n" + settings + "a=b c\nend-job\n"));
  EXPECT_THAT(import.configuration, HasSubstr("cron-site-8\n" + settings + "d=e f\nend-job\n"));
  EXPECT_EQ(all(import.notes),
            "/etc/cron.d/site:6 SHELL=/bin/dash: jobs run by the service's interpreter; the line is kept for them\n");
  EXPECT_EQ(import.left_out.size(), 3u) << all(import.left_out);
}

TEST(Crontab, mail_is_what_the_last_line_before_says) {
  const CrontabImport import = imported("MAILTO=a@b\n@daily x\nMAILTO=\n@daily y\nMAILTO=\"c@d\"\n@daily z\n");
  EXPECT_THAT(import.configuration, HasSubstr("job name cron-site-2\n  time daily 00:00\nemail-addr a@b\n\n"));
  EXPECT_THAT(import.configuration, HasSubstr("job name cron-site-4\n  time daily 00:00\n\n"));
  EXPECT_THAT(import.configuration, HasSubstr("job name cron-site-6\n  time daily 00:00\nemail-addr c@d\n\n"));
  const std::string longest = "a@" + std::string(SCH_ADDRESS_SIZE - 3, 'b');
  EXPECT_THAT(imported("MAILTO=" + longest + "\n@daily x\n").configuration, HasSubstr("email-addr " + longest + "\n"));
  EXPECT_THAT(all(imported("MAILTO=" + longest + "b\n@daily x\n").notes),
              HasSubstr("is left out: an address has a host"));
}

TEST(Crontab, jobs_are_named_after_the_file_in_twelve_characters_of_a_name) {
  CrontabImport import;
  add_crontab({"a/b.c_d-e.fghijklmn", false, "root"}, "@daily x\n", &import);
  EXPECT_THAT(import.configuration, testing::StartsWith("scheduler job name cron-b-c_d-e-fghi-1\n"));
}

TEST(Crontab, commands_keep_what_is_escaped_and_lines_without_one_are_left_out) {
  EXPECT_THAT(imported("@daily a \\% b \\c \\\n").configuration, HasSubstr("\na % b \\c \\\nend-job\n"));
  EXPECT_THAT(imported("@daily cat%\n").configuration, HasSubstr("\ncat <<'END-OF-INPUT'\n\nEND-OF-INPUT\nend-job\n"));
  EXPECT_THAT(all(imported("@daily\n0 0 * * *  \n").left_out),
              HasSubstr("site:1 it has no command\n/etc/cron.d/site:2 it has no command\n"));
}

TEST(Crontab, of_the_system_takes_the_lines_of_the_user_who_imports_it) {
  const CrontabImport import = imported("0 1 * * * root tidy\n0 2 * * * www-data sweep\n", true);
  EXPECT_THAT(import.configuration, HasSubstr("\ntidy\nend-job\n"));
  EXPECT_THAT(import.configuration, testing::Not(HasSubstr("sweep")));
  EXPECT_THAT(all(import.left_out), HasSubstr("/etc/cron.d/site:2 it runs as www-data"));
}

}  // namespace
}  // namespace shell
