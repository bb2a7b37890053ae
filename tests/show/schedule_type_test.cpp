// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <sstream>

#include "tests/show/replies.h"

using namespace platform_test;
using namespace show_test;

namespace {

using ScheduleTypeTest = PlatformTest;

const std::string label = "Schedule Type       : ";

sch_tminfo time_of(uint32_t type, int32_t hour, int32_t minute, int32_t day_of_week = 0, int32_t day_of_month = 0) {
  sch_tminfo time = {};
  time.type = type;
  time.hour = hour;
  time.minute = minute;
  time.day_of_week = day_of_week;
  time.day_of_month = day_of_month;
  return time;
}

sch_tminfo one_shot(int year, int month, int day, int hour, int minute) {
  sch_tminfo time = time_of(SCH_SCHEDULE_ONESHOT, hour, minute, 0, day);
  time.month = month - 1;
  time.year = year - 1900;
  return time;
}

std::string type_line(const sch_tminfo &time) {
  return printed([&] { print_schedule_type(&time); });
}

TEST_F(ScheduleTypeTest, daily_and_periodic) {
  EXPECT_EQ(type_line(time_of(SCH_SCHEDULE_DAILY, 23, 5)), label + "Run every day at 23 Hrs 5 Mins\n");
  EXPECT_EQ(type_line(time_of(SCH_SCHEDULE_DAILY, -1, 0)), label + "Run every day at -1 Hrs 0 Mins\n");
  EXPECT_EQ(type_line(time_of(SCH_SCHEDULE_PERIODIC, 2, 3, 1)), label + "Run every 1 Days 2 Hrs 3 Mins\n");
  EXPECT_EQ(type_line(time_of(SCH_SCHEDULE_PERIODIC, INT32_MIN, INT32_MAX, -1)),
            label + "Run every -1 Days -2147483648 Hrs 2147483647 Mins\n");
}

TEST_F(ScheduleTypeTest, every_other_type_is_none) {
  for (const uint32_t type : {0u, 2u, 6u, 8u, 9u, 0x80000000u, 0xffffffffu}) {
    EXPECT_EQ(type_line(time_of(type, 1, 2, 3, 4)), label + "None\n") << type;
  }
}

TEST_F(ScheduleTypeTest, weekly_by_day) {
  const std::pair<int32_t, std::string> rows[] = {
      {1, "Sunday "},   {2, "Monday "}, {3, "Tuesday "}, {4, "Wednesday "}, {5, "Thursday "},   {6, "Friday "},
      {7, "Saturday "}, {0, "** "},     {8, "** "},      {-1, "** "},       {INT32_MIN, "** "}, {INT32_MAX, "** "},
  };
  for (const auto &[day, name] : rows) {
    const sch_tminfo time = time_of(SCH_SCHEDULE_WEEKLY, 4, 30, day);
    const std::string text = "Run on every " + name + "at 4 Hrs 30 Mins\n";
    EXPECT_EQ(type_line(time), label + text) << day;
    EXPECT_EQ(printed([&] { print_weekly_schedule(&time); }), text) << day;
  }
}

TEST_F(ScheduleTypeTest, monthly_by_day) {
  std::map<int32_t, std::string> days = {{38, "38"},
                                         {111, "111st"},
                                         {-1, "-1"},
                                         {-9, "-9"},
                                         {-10, "-10th"},
                                         {INT32_MAX, "2147483647th"},
                                         {INT32_MIN, "-2147483648"},
                                         {INT32_MIN + 3, "-2147483645"}};
  std::istringstream month(
      "0th 1st 2nd 3rd 4th 5th 6th 7th 8th 9th 10th 11th 12th 13th 14th 15th 16th 17th 18th 19th 20th 21st 22nd 23rd "
      "24th 25th 26th 27th 28 29th 30th 31st 32nd");
  for (int32_t day = 0; day <= 32; ++day)
    month >> days[day];
  for (const auto &[day, text] : days) {
    const sch_tminfo time = time_of(SCH_SCHEDULE_MONTHLY, 0, 9, 0, day);
    const std::string line = "Run on every " + text + " of every month at 0 Hrs 9 Mins\n";
    EXPECT_EQ(type_line(time), label + line) << day;
    EXPECT_EQ(printed([&] { print_monthly_schedule(&time); }), line) << day;
  }
}

TEST_F(ScheduleTypeTest, one_shot_by_zone) {
  struct Row {
    const char *zone;
    sch_tminfo time;
    const char *text;
  };
  // The record is local time without daylight saving, so in summer the clock shows an hour more.
  const Row rows[] = {
      {"UTC", one_shot(2028, 2, 29, 10, 0), "Tue Feb 29 10:00:00 2028"},
      {"UTC", one_shot(2027, 12, 31, 23, 59), "Fri Dec 31 23:59:00 2027"},
      {"Europe/Berlin", one_shot(2026, 1, 15, 10, 0), "Thu Jan 15 10:00:00 2026"},
      {"Europe/Berlin", one_shot(2026, 7, 15, 10, 0), "Wed Jul 15 11:00:00 2026"},
      {"Australia/Sydney", one_shot(2026, 7, 15, 10, 0), "Wed Jul 15 10:00:00 2026"},
      {"Australia/Sydney", one_shot(2026, 1, 15, 10, 0), "Thu Jan 15 11:00:00 2026"},
      {"Asia/Kolkata", one_shot(2026, 7, 15, 10, 0), "Wed Jul 15 10:00:00 2026"},
  };
  for (const Row &row : rows) {
    set_zone(row.zone);
    EXPECT_EQ(type_line(row.time), label + "Run once on " + row.text + "\n") << row.zone << " " << row.text;
  }
}

TEST_F(ScheduleTypeTest, a_one_shot_year_that_cannot_be_told_still_ends_its_line) {
  // A 32-bit clock ends in 2038 and mktime answers -1; with 64 bits ctime has no text beyond the year 9999.
  const std::string text = sizeof(time_t) == 4 ? "Wed Dec 31 23:59:59 1969\n" : "out of range\n";
  EXPECT_EQ(type_line(one_shot(20000, 1, 1, 0, 0)), label + "Run once on " + text);
}

}  // namespace
