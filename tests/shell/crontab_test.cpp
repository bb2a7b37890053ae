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
  EXPECT_THAT(times_of("*/0 * * * *"), HasSubstr("no minute"));
}

TEST(Crontab, of_the_system_takes_the_lines_of_the_user_who_imports_it) {
  const CrontabImport import = imported("0 1 * * * root tidy\n0 2 * * * www-data sweep\n", true);
  EXPECT_THAT(import.configuration, HasSubstr("\ntidy\nend-job\n"));
  EXPECT_THAT(import.configuration, testing::Not(HasSubstr("sweep")));
  EXPECT_THAT(all(import.left_out), HasSubstr("/etc/cron.d/site:2 it runs as www-data"));
}

}  // namespace
}  // namespace shell
