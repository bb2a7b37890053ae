// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <algorithm>

#include "tests/cli/exchange.h"

namespace {

using cli_test::Context;
using cli_test::fake;
using cli_test::Outcome;
using cli_test::Record;
using cli_test::refused;
using cli_test::run;
using cli_test::status_line;
using platform_test::Reply;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t oneshot = 1, daily = 3, weekly = 4, monthly = 5, periodic = 7, job = 999, clear_time = 1000;
constexpr int32_t now = 1781521230;  // Monday 2026-06-15 11:00:30 UTC

const std::string format_hint = "Incorrect time format. Should be ";
const std::string range_hint = "Value out of range\nShould be ";
const std::string hours = "    HH = {0..23}\n", minutes = "    MM = {0..59}\n";
const std::string past = "Specified time is in the past\n";
const std::string oneshot_form = "yyyy:mmm:dd:HH:MM or +dd:HH:MM\n";
const std::string month_range = "    mmm = {1..12} or Jan, Feb...Dec\n";

struct Time {
  uint32_t type = 0;
  int32_t hour = 0, day_of_week = 0, day_of_month = 0, minute = 0, month = 0, year = 0, start_time = 0;
};

Record change(uint32_t subcommand, const Time &time = {}) {
  Record record(4, 120);
  record.word(16, subcommand).text(20, "nightly");
  const int32_t fields[] = {time.hour,  time.day_of_week, time.day_of_month, time.minute,
                            time.month, time.year,        time.start_time};
  record.word(88, time.type);
  for (size_t i = 0; i < std::size(fields); ++i)
    record.word(92 + 4 * i, static_cast<uint32_t>(fields[i]));
  return record;
}

Outcome modify(uint32_t subcommand, const std::vector<std::string> &params, uint32_t negate = 0) {
  std::vector<std::string> all = {"nightly"};
  all.insert(all.end(), params.begin(), params.end());
  Context context(all);
  context->subcommand = subcommand;
  context->negate = negate;
  return run(sch_cli_modify_schedule, context);
}

class ScheduleChange : public cli_test::CliTest {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    fake.now = now;
  }
  // The traces behind the user checks.
  static std::vector<std::string> traces() {
    const std::vector<std::string> all = fake.traces(103);
    return {all.begin() + 4, all.end()};
  }
};

TEST_F(ScheduleChange, golden_bytes_of_a_daily_time) {
  EXPECT_THAT(modify(daily, {"22:30"}).requests,
              ElementsAre("0400000078000000"
                          "0000000000000000"
                          "03000000"
                          "6e696768746c79000000000000000000"
                          "00000000000000000000000000000000"
                          "0000000000000000000000000000000000000000000000000000000000000000"
                          "00000000"
                          "03000000160000000000000000000000"
                          "1e000000000000000000000000000000"
                          "00000000"
                          "00000000"));
}

TEST_F(ScheduleChange, golden_bytes_of_an_assignment) {
  EXPECT_THAT(modify(job, {"backup"}, 1).requests, ElementsAre("0400000078000000"
                                                               "0100000000000000"
                                                               "e7030000"
                                                               "6e696768746c79000000000000000000"
                                                               "00000000000000000000000000000000"
                                                               "6261636b757000000000000000000000"
                                                               "00000000000000000000000000000000"
                                                               "00000000"
                                                               "00000000000000000000000000000000"
                                                               "00000000000000000000000000000000"
                                                               "00000000"
                                                               "00000000"));
}

TEST_F(ScheduleChange, each_form_is_sent_completed) {
  const struct {
    uint32_t subcommand;
    std::vector<std::string> params;
    Time time;
  } rows[] = {
      {daily, {"22:30"}, {.type = 3, .hour = 22, .minute = 30}},
      {daily, {"0:0"}, {.type = 3}},
      {daily, {"30"}, {.type = 3, .hour = 11, .minute = 30}},  // the hour is now's
      {daily, {"Mon:22:30"}, {.type = 3, .hour = 22, .day_of_week = 2, .minute = 30}},
      {weekly, {"Fri:10:00"}, {.type = 4, .hour = 10, .day_of_week = 6}},
      {weekly, {"7:10:05"}, {.type = 4, .hour = 10, .day_of_week = 7, .minute = 5}},
      {weekly, {"10:05"}, {.type = 4, .hour = 10, .day_of_week = 2, .minute = 5}},  // today, a Monday
      {weekly, {"Jan:2:3:4"}, {.type = 4, .hour = 3, .day_of_week = 2, .day_of_month = 2, .minute = 4, .month = 1}},
      {weekly, {"45"}, {.type = 4, .hour = 11, .day_of_week = 2, .minute = 45}},
      {monthly, {"31:10:05"}, {.type = 5, .hour = 10, .day_of_month = 31, .minute = 5}},
      {monthly, {"10:05"}, {.type = 5, .hour = 10, .day_of_month = 15, .minute = 5}},  // today, the 15th
      // A month and its day leave the day that counts as not given: it is today's.
      {monthly, {"Jan:2:3:4"}, {.type = 5, .hour = 3, .day_of_month = 15, .minute = 4, .month = 1}},
      {monthly, {"2027:Jan:2:3:4"}, {.type = 5, .hour = 3, .day_of_month = 15, .minute = 4, .month = 1, .year = 2027}},
      {monthly, {"45"}, {.type = 5, .hour = 11, .day_of_month = 15, .minute = 45}},
      {monthly, {"Tue:10:05"}, {.type = 5, .hour = 10, .day_of_month = 3, .minute = 5}},  // Tue reads as 3
      {oneshot,
       {"2027:Jan:2:3:4"},
       {.type = 1, .hour = 3, .day_of_week = -1, .day_of_month = 2, .minute = 4, .month = 0, .year = 127}},
      {oneshot,
       {"11:01"},
       {.type = 1, .hour = 11, .day_of_week = -1, .day_of_month = 15, .minute = 1, .month = 5, .year = 126}},
      {oneshot,
       {"+1:2:3"},
       {.type = 1, .hour = 13, .day_of_week = 1, .day_of_month = 16, .minute = 3, .month = 5, .year = 126}},
      {clear_time, {}, {}},
      {8, {"22:30"}, {}},  // a code of no form goes out as it stands
      {0, {}, {}},
      {2, {"22:30"}, {}},
  };
  for (const auto &row : rows) {
    const Outcome outcome = modify(row.subcommand, row.params);
    EXPECT_EQ(outcome.result, 0) << row.subcommand << outcome;
    EXPECT_EQ(outcome.out + outcome.err, "") << row.subcommand;
    EXPECT_THAT(outcome.requests, ElementsAre(change(row.subcommand, row.time).hex())) << row.subcommand;
  }
}

TEST_F(ScheduleChange, a_period_follows_its_start) {
  const Outcome outcome = modify(periodic, {"2026:Jun:15:12:00", "1:2:3"});
  EXPECT_EQ(outcome.result, 0) << outcome;
  EXPECT_EQ(outcome.out + outcome.err, "");
  const Time time = {7, 2, 1, -1, 3, -1, -1, now - 30 + 3600};
  EXPECT_THAT(outcome.requests, ElementsAre(change(7, time).hex()));
}

TEST_F(ScheduleChange, a_shorter_period_leaves_days_and_hours_zero) {
  Time time = {7, 0, 0, -1, 1, -1, -1, now - 30 + 3600};
  EXPECT_THAT(modify(periodic, {"12:00", "1"}).requests, ElementsAre(change(7, time).hex()));
  time.hour = 5;
  EXPECT_THAT(modify(periodic, {"12:00", "5:01"}).requests, ElementsAre(change(7, time).hex()));
}

TEST_F(ScheduleChange, a_period_that_names_a_month_keeps_the_fields_it_wrote) {
  const Time time = {7, 3, 0, 2, 4, 1, -1, now - 30 + 3600};
  EXPECT_THAT(modify(periodic, {"12:00", "Jan:2:3:4"}).requests, ElementsAre(change(7, time).hex()));
}

TEST_F(ScheduleChange, a_period_without_start_begins_in_two_minutes_and_says_so) {
  const Outcome outcome = modify(periodic, {"0:1"});
  EXPECT_EQ(outcome.result, 0) << outcome;
  EXPECT_EQ(outcome.out, "Schedule starts from Mon Jun 15 11:02:30 2026\n");
  EXPECT_EQ(outcome.err, "");
  const Time time = {7, 0, 0, -1, 1, -1, -1, now + 120};
  EXPECT_THAT(outcome.requests, ElementsAre(change(7, time).hex()));
}

TEST_F(ScheduleChange, the_start_is_announced_in_the_zone_of_the_operator) {
  platform_test::set_zone("Asia/Kolkata");
  EXPECT_EQ(modify(periodic, {"0:1"}).out, "Schedule starts from Mon Jun 15 16:32:30 2026\n");
}

TEST_F(ScheduleChange, a_zone_that_changes_counts_from_the_next_command_on) {
  setenv("TZ", "Asia/Kolkata", 1);
  EXPECT_THAT(modify(daily, {"45"}).requests, ElementsAre(change(3, {.type = 3, .hour = 16, .minute = 45}).hex()));
}

TEST_F(ScheduleChange, a_refused_period_announces_nothing) {
  fake.replies = {Reply::with("", 0x40be0001)};
  const Outcome outcome = modify(periodic, {"0:1"});
  EXPECT_EQ(outcome.result, 0x40be0001);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, status_line("Error: modify schedule failed", 0x40be0001));
}

TEST_F(ScheduleChange, two_parameters_of_another_form_announce_nothing) {
  EXPECT_EQ(modify(job, {"backup"}).out, "");
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
  EXPECT_THAT(modify(clear_time, {}, 1).requests, ElementsAre(change(1000).word(8, 1).hex()));
  EXPECT_THAT(modify(job, {"backup"}, 5).requests, ElementsAre(change(999).word(8, 5).text(52, "backup").hex()));
}

TEST_F(ScheduleChange, memory_is_taken_before_the_form_is_looked_at) {
  fake.libc_alloc = {1, true, 0};
  const Outcome outcome = modify(daily, {"22:30"}, 1);
  fake.libc_alloc = {};
  EXPECT_TRUE(refused(outcome, 2, "Could not allocate memory\n"));
}

TEST_F(ScheduleChange, the_job_s_name_is_not_checked_and_cut_to_31_characters) {
  EXPECT_THAT(modify(job, {"_;" + std::string(40, 'x')}).requests,
              ElementsAre(change(999).text(52, "_;" + std::string(29, 'x')).hex()));
}

TEST_F(ScheduleChange, the_schedule_s_name_is_not_checked_and_cut_to_31_characters) {
  Context context({"_" + std::string(40, 'x')});
  context->subcommand = clear_time;
  EXPECT_THAT(run(sch_cli_modify_schedule, context).requests,
              ElementsAre(Record(4, 120).word(16, 1000).text(20, "_" + std::string(30, 'x')).hex()));
}

TEST_F(ScheduleChange, failures_are_named_by_form_and_handed_on) {
  const struct {
    uint32_t subcommand, negate;
    const char *text;
  } rows[] = {{job, 0, "Error: could not assign job"},
              {job, 1, "Error: could not deassign job"},
              {daily, 0, "Error: modify schedule failed"},
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

const auto dump_of = [](uint32_t type, int hour, int minute) {
  return std::vector<std::string>{"schedule type: " + std::to_string(type),
                                  "year         : 0",
                                  "month        : 0",
                                  "day of month : 0",
                                  "day of week  : 0",
                                  "hour         : " + std::to_string(hour),
                                  "minute       : " + std::to_string(minute),
                                  "start time   : 0"};
};

std::vector<std::string> joined(std::vector<std::string> all, const std::vector<std::string> &more,
                                const std::vector<std::string> &last) {
  all.insert(all.end(), more.begin(), more.end());
  all.insert(all.end(), last.begin(), last.end());
  return all;
}

TEST_F(ScheduleChange, a_daily_change_traces_its_steps) {
  modify(daily, {"22:30"});
  EXPECT_EQ(traces(), joined({"modify schedule nightly", "daily <22:30>", "parse str 22:30", "minute str 30",
                              "minute retrieved", "hour str 22", "- hour retrieved"},
                             dump_of(3, 22, 30), {"time schedule change"}));
}

TEST_F(ScheduleChange, an_assignment_traces_its_steps) {
  modify(job, {"backup"});
  EXPECT_EQ(traces(), joined({"modify schedule nightly", "job assign deassign", "job name <backup>"}, dump_of(0, 0, 0),
                             {"enqueing request for job assign/deassign"}));
}

TEST_F(ScheduleChange, clearing_and_unknown_forms_trace_a_time_change) {
  for (uint32_t subcommand : {clear_time, 8u}) {
    fake.history.clear();
    modify(subcommand, {});
    EXPECT_EQ(traces(), joined({"modify schedule nightly"}, dump_of(0, 0, 0), {"time schedule change"}));
  }
}

TEST_F(ScheduleChange, each_form_names_its_text_first) {
  const struct {
    uint32_t subcommand;
    const char *trace;
  } rows[] = {{oneshot, "oneshot <x>"},
              {daily, "daily <x>"},
              {weekly, "weekly <x>"},
              {monthly, "monthly <x>"},
              {periodic, "parse str x"}};
  for (const auto &row : rows) {
    fake.history.clear();
    modify(row.subcommand, {"x"});
    EXPECT_THAT(traces().at(0), "modify schedule nightly");
    EXPECT_THAT(traces().at(1), row.trace);
  }
}

TEST_F(ScheduleChange, a_refused_oneshot_dumps_the_record) {
  modify(oneshot, {"x"});
  EXPECT_THAT(traces(), ElementsAre("modify schedule nightly", "oneshot <x>", "parse str x", "schedule type: 0",
                                    "year         : -1", "month        : -1", "day of month : -1", "day of week  : -1",
                                    "hour         : -1", "minute       : 0", "start time   : 0"));
  fake.history.clear();
  modify(daily, {"x"});
  EXPECT_THAT(traces(), ElementsAre("modify schedule nightly", "daily <x>", "parse str x"));
}

TEST_F(ScheduleChange, an_accepted_oneshot_dumps_the_record_when_it_is_verified_and_when_it_is_sent) {
  modify(oneshot, {"2027:1:2:3:4"});
  const auto all = traces();
  EXPECT_EQ(std::count(all.begin(), all.end(), "schedule type: 1"), 2);
}

TEST_F(ScheduleChange, an_invalid_form_traces_nothing_of_its_own) {
  modify(daily, {"22:30"}, 1);
  EXPECT_THAT(traces(), IsEmpty());
}

}  // namespace
