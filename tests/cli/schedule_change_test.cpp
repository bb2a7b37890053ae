// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "tests/cli/exchange.h"

namespace {

using namespace cli_test;

constexpr uint32_t oneshot = 1, daily = 3, weekly = 4, monthly = 5, periodic = 7, job = 999, clear_time = 1000;
constexpr int32_t now = 1781521230;  // Monday 2026-06-15 11:00:30 UTC

const std::string format_hint = "Incorrect time format. Should be ";
const std::string range_hint = "Value out of range\nShould be ";
const std::string hours = "    HH = {0..23}\n", minutes = "    MM = {0..59}\n";
const std::string past = "Specified time is in the past\n";
const std::string oneshot_form = "yyyy:mmm:dd:HH:MM or +dd:HH:MM\n";
const std::string month_range = "    mmm = {1..12} or Jan, Feb...Dec\n";

using Time = sch_tminfo;

std::string change(uint32_t subcommand, const Time &time = {}, const std::string &job_name = "", uint32_t negate = 0) {
  return request<sch_modify_request>(SCH_OP_MODIFY_SCHEDULE, [&](auto &record) {
    record.negate = negate;
    record.subcommand = subcommand;
    put(record.schedule, "nightly");
    put(record.job, job_name);
    record.time = time;
  });
}

Outcome modify(uint32_t subcommand, std::vector<std::string> params, uint32_t negate = 0) {
  params.insert(params.begin(), "nightly");
  return run({"", sch_cli_modify_schedule, subcommand, params, negate});
}

class ScheduleChange : public CliTest {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    fake.now = now;
  }
};

TEST_F(ScheduleChange, each_form_is_sent_completed) {
  const struct {
    uint32_t subcommand;
    std::vector<std::string> params;
    Time time;
  } rows[] = {
      {daily, {"22:30"}, {3, 22, 0, 0, 30, 0, 0, 0, 0}},
      {daily, {"0:0"}, {3, 0, 0, 0, 0, 0, 0, 0, 0}},
      {daily, {"30"}, {3, 11, 0, 0, 30, 0, 0, 0, 0}},  // the hour is now's
      {daily, {"Mon:22:30"}, {3, 22, 2, 0, 30, 0, 0, 0, 0}},
      {weekly, {"Fri:10:00"}, {4, 10, 6, 0, 0, 0, 0, 0, 0}},
      {weekly, {"7:10:05"}, {4, 10, 7, 0, 5, 0, 0, 0, 0}},
      {weekly, {"10:05"}, {4, 10, 2, 0, 5, 0, 0, 0, 0}},  // today, a Monday
      {weekly, {"Jan:2:3:4"}, {4, 3, 2, 2, 4, 1, 0, 0, 0}},
      {weekly, {"45"}, {4, 11, 2, 0, 45, 0, 0, 0, 0}},
      {monthly, {"31:10:05"}, {5, 10, 0, 31, 5, 0, 0, 0, 0}},
      {monthly, {"10:05"}, {5, 10, 0, 15, 5, 0, 0, 0, 0}},  // today, the 15th
      // A month and its day leave the day that counts as not given: it is today's.
      {monthly, {"Jan:2:3:4"}, {5, 3, 0, 15, 4, 1, 0, 0, 0}},
      {monthly, {"2027:Jan:2:3:4"}, {5, 3, 0, 15, 4, 1, 2027, 0, 0}},
      {monthly, {"45"}, {5, 11, 0, 15, 45, 0, 0, 0, 0}},
      {monthly, {"Tue:10:05"}, {5, 10, 0, 3, 5, 0, 0, 0, 0}},  // Tue reads as 3
      {oneshot, {"2027:Jan:2:3:4"}, {1, 3, -1, 2, 4, 0, 127, 0, 0}},
      {oneshot, {"11:01"}, {1, 11, -1, 15, 1, 5, 126, 0, 0}},
      {oneshot, {"+1:2:3"}, {1, 13, 1, 16, 3, 5, 126, 0, 0}},
      {clear_time, {}, {}},
      {8, {"22:30"}, {}},  // a code of no form goes out as it stands
      {0, {}, {}},
      {2, {"22:30"}, {}},
  };
  for (const auto &row : rows) {
    const Outcome outcome = modify(row.subcommand, row.params);
    EXPECT_EQ(outcome.result, 0) << row.subcommand << outcome;
    EXPECT_EQ(outcome.out + outcome.err, "") << row.subcommand;
    EXPECT_THAT(outcome.requests, ElementsAre(change(row.subcommand, row.time))) << row.subcommand;
  }
}

TEST_F(ScheduleChange, a_period_follows_its_start) {
  const Outcome outcome = modify(periodic, {"2026:Jun:15:12:00", "1:2:3"});
  EXPECT_EQ(outcome.result, 0) << outcome;
  EXPECT_EQ(outcome.out + outcome.err, "");
  const Time time = {7, 2, 1, -1, 3, -1, -1, now - 30 + 3600, 0};
  EXPECT_THAT(outcome.requests, ElementsAre(change(7, time)));
}

TEST_F(ScheduleChange, a_shorter_period_leaves_days_and_hours_zero) {
  Time time = {7, 0, 0, -1, 1, -1, -1, now - 30 + 3600, 0};
  EXPECT_THAT(modify(periodic, {"12:00", "1"}).requests, ElementsAre(change(7, time)));
  time.hour = 5;
  EXPECT_THAT(modify(periodic, {"12:00", "5:01"}).requests, ElementsAre(change(7, time)));
}

TEST_F(ScheduleChange, a_period_that_names_a_month_keeps_the_fields_it_wrote) {
  const Time time = {7, 3, 0, 2, 4, 1, -1, now - 30 + 3600, 0};
  EXPECT_THAT(modify(periodic, {"12:00", "Jan:2:3:4"}).requests, ElementsAre(change(7, time)));
}

TEST_F(ScheduleChange, a_period_without_start_begins_in_two_minutes_and_says_so) {
  const Outcome outcome = modify(periodic, {"0:1"});
  EXPECT_EQ(outcome.result, 0) << outcome;
  EXPECT_EQ(outcome.out, "Schedule starts from Mon Jun 15 11:02:30 2026\n");
  EXPECT_EQ(outcome.err, "");
  const Time time = {7, 0, 0, -1, 1, -1, -1, now + 120, 0};
  EXPECT_THAT(outcome.requests, ElementsAre(change(7, time)));
}

TEST_F(ScheduleChange, the_start_is_announced_in_the_zone_of_the_operator) {
  platform_test::set_zone("Asia/Kolkata");
  EXPECT_EQ(modify(periodic, {"0:1"}).out, "Schedule starts from Mon Jun 15 16:32:30 2026\n");
}

TEST_F(ScheduleChange, a_zone_that_changes_counts_from_the_next_command_on) {
  setenv("TZ", "Asia/Kolkata", 1);
  EXPECT_THAT(modify(daily, {"45"}).requests, ElementsAre(change(3, {3, 16, 0, 0, 45, 0, 0, 0, 0})));
}

TEST_F(ScheduleChange, a_period_under_a_minute_is_refused) {
  const std::string refusal = "Interval cannot be zero\n";
  EXPECT_TRUE(refused(modify(periodic, {"0:0:0"}), -1, "", refusal));
  EXPECT_TRUE(refused(modify(periodic, {"12:00", "0"}), -1, "", refusal));
  EXPECT_TRUE(refused(modify(periodic, {"-1"}), -1, "", refusal));
  EXPECT_TRUE(refused(modify(periodic, {"0:1:-60"}), -1, "", refusal));
  EXPECT_TRUE(refused(modify(periodic, {"30000:0:0"}), -1, "", refusal));  // beyond 32 bits of seconds
  EXPECT_EQ(modify(periodic, {"1"}).requests.size(), 1u);
}

TEST_F(ScheduleChange, bad_times_are_refused_with_a_hint) {
  const std::string weekly_range = "dow:HH:MM.\n    dow = {1..7} or Sun,Mon ... Sat\n" + hours + minutes;
  const std::string monthly_range = "dm:HH:MM\n    dm = {1..31}\n" + hours + minutes;
  const struct {
    uint32_t subcommand;
    std::vector<std::string> params;
    std::string err;
  } rows[] = {
      {daily, {""}, format_hint + "HH:MM\n"},
      {daily, {":10"}, format_hint + "HH:MM\n"},
      {daily, {"x:10"}, format_hint + "HH:MM\n"},
      {daily, {"24:00"}, range_hint + "HH:MM.\n" + hours + minutes},
      {daily, {"10:60"}, range_hint + "HH:MM.\n" + hours + minutes},
      {weekly, {"Xyz:10:00"}, format_hint + "dow:HH:MM\n"},
      {weekly, {"8:10:00"}, range_hint + weekly_range},
      {weekly, {"0:10:00"}, range_hint + weekly_range},
      {weekly, {"1:24:00"}, range_hint + weekly_range},
      {monthly, {":1"}, format_hint + "dm:HH:MM\n"},
      {monthly, {"32:10:00"}, range_hint + monthly_range},
      {monthly, {"0:10:00"}, range_hint + monthly_range},
      {oneshot, {"x"}, format_hint + oneshot_form},
      {oneshot, {"+1:Feb:1:00"}, format_hint + oneshot_form},
      {oneshot, {"2027:Feb:29:10:00"}, range_hint + oneshot_form + month_range},
      {oneshot, {"11:00"}, past},
      {oneshot, {"2020:Jan:1:10:00"}, past},
      {periodic, {"x", "0:1"}, format_hint + oneshot_form},
      {periodic, {"11:00", "0:1"}, past},
      {periodic, {"2027:Feb:29:10:00", "0:1"}, range_hint + oneshot_form + month_range},
      {periodic, {"12:00", "x"}, format_hint + "dd:HH:MM\n"},
      {periodic, {"x"}, format_hint + "dd:HH:MM\n"},
  };
  for (const auto &row : rows) {
    const Outcome outcome = modify(row.subcommand, row.params);
    EXPECT_TRUE(refused(outcome, -1, row.err)) << row.subcommand << " " << outcome;
    EXPECT_EQ(outcome.freed, 1) << row.subcommand;
  }
}

// Only a start time beyond the field's 32 bits can be past by then; a 32-bit time_t ends before it.
TEST_F(ScheduleChange, a_start_that_the_field_cannot_hold_is_refused) {
  const std::string period_range = range_hint + "dd:HH:MM.\n    dd,HH,MM = {1..99}\n";
  EXPECT_TRUE(refused(modify(periodic, {"2050:Jan:1:10:00", "0:1"}), -1, sizeof(time_t) == 4 ? past : period_range));
}

TEST_F(ScheduleChange, only_jobs_and_the_time_can_be_taken_away) {
  for (uint32_t subcommand : {0u, oneshot, daily, weekly, monthly, periodic, 998u, 1001u}) {
    const Outcome outcome = modify(subcommand, {"22:30"}, 1);
    EXPECT_TRUE(refused(outcome, -1, "", "Invalid command\n")) << subcommand;
    EXPECT_EQ(outcome.freed, 1);
  }
  EXPECT_THAT(modify(clear_time, {}, 1).requests, ElementsAre(change(1000, {}, "", 1)));
  EXPECT_THAT(modify(job, {"backup"}, 5).requests, ElementsAre(change(999, {}, "backup", 5)));
}

TEST_F(ScheduleChange, memory_is_taken_before_the_form_is_looked_at) {
  fake.libc_alloc = {1, true, 0};
  const Outcome outcome = modify(daily, {"22:30"}, 1);
  fake.libc_alloc = {};
  EXPECT_TRUE(refused(outcome, 2, no_memory_message));
}

TEST_F(ScheduleChange, the_job_s_name_is_not_checked_and_cut_to_31_characters) {
  EXPECT_THAT(modify(job, {"_;" + std::string(40, 'x')}).requests,
              ElementsAre(change(999, {}, "_;" + std::string(29, 'x'))));
}

TEST_F(ScheduleChange, the_schedule_s_name_is_not_checked_and_cut_to_31_characters) {
  EXPECT_THAT(run({"", sch_cli_modify_schedule, clear_time, {"_" + std::string(40, 'x')}}).requests,
              ElementsAre(request<sch_modify_request>(SCH_OP_MODIFY_SCHEDULE, [](auto &record) {
                record.subcommand = SCH_MODIFY_CLEAR_TIME;
                put(record.schedule, "_" + std::string(30, 'x'));
              })));
}

TEST_F(ScheduleChange, failures_are_named_by_form_and_handed_on) {
  const struct {
    uint32_t subcommand, negate;
    const char *text;
  } rows[] = {{job, 0, "Error: could not assign job"},
              {job, 1, "Error: could not deassign job"},
              {daily, 0, "Error: modify schedule failed"},
              {periodic, 0, "Error: modify schedule failed"},
              {clear_time, 1, "Error: modify schedule failed"}};
  for (const auto &row : rows) {
    for (uint32_t status : {0x40bd0002u, 0x40be0001u, 0xffffffffu}) {
      fake.replies = {Reply::with("", status)};
      const Outcome outcome = modify(row.subcommand, {"22:30"}, row.negate);
      EXPECT_EQ(outcome.result, static_cast<int>(status));
      EXPECT_EQ(outcome.err, status_line(row.text, status));
      EXPECT_EQ(outcome.out, "");
    }
  }
}

}  // namespace
