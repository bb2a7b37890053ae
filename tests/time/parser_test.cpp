// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/platform/platform.h"
#include "tests/time/moments.h"

namespace {

using namespace platform_test;
using namespace time_test;

constexpr int malformed = -1;
constexpr int unreadable = -2;

// The result and the fields "year:month:day of month:day of week:hour:minute", "-" for one that stays unwritten.
std::string parsed(const std::string &text) {
  sch_tminfo record = unset();
  std::string line = std::to_string(sch_parse_str_to_tminfo(text.c_str(), &record));
  for (int field : {record.year, record.month, record.day_of_month, record.day_of_week, record.hour, record.minute})
    line += (field == untouched ? ":-" : ":" + std::to_string(field));
  const bool others_untouched =
      record.type == untouched && record.start_time == untouched && record.last_run == untouched;
  return others_untouched ? line : line + " and more";
}

class Parser : public platform_test::PlatformTest {};

TEST_F(Parser, each_number_of_fields_writes_its_own) {
  EXPECT_EQ(parsed("30"), "0:-:-:-:-:-:30");
  EXPECT_EQ(parsed("7:30"), "0:-:-:-:-:7:30");
  EXPECT_EQ(parsed("Mon:10:00"), "0:-:-:-:2:10:0");
  EXPECT_EQ(parsed("2:10:00"), "0:-:-:-:2:10:0");
  EXPECT_EQ(parsed("31:10:00"), "0:-:-:-:31:10:0");
  EXPECT_EQ(parsed("Feb:29:10:00"), "0:-:2:29:-:10:0");
  EXPECT_EQ(parsed("12:29:10:00"), "0:-:12:29:-:10:0");
  EXPECT_EQ(parsed("2026:jan:5:7:00"), "0:2026:1:5:-:7:0");
  EXPECT_EQ(parsed("2026:Feb:28:23:59"), "0:2026:2:28:-:23:59");
}

TEST_F(Parser, every_day_and_month_name_reads_in_any_case) {
  const char *days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  for (int day = 1; day <= 7; ++day)
    EXPECT_EQ(parsed(std::string(days[day - 1]) + ":1:2"), "0:-:-:-:" + std::to_string(day) + ":1:2");
  const char *months[] = {"jan", "FEB", "mAr", "apr", "may", "jun", "jul", "aug", "sep", "oct", "nov", "DEC"};
  for (int month = 1; month <= 12; ++month)
    EXPECT_EQ(parsed(std::string(months[month - 1]) + ":3:1:2"), "0:-:" + std::to_string(month) + ":3:-:1:2");
}

TEST_F(Parser, a_name_is_known_by_three_characters) {
  EXPECT_EQ(parsed("MONDAY:1:2"), "0:-:-:-:2:1:2");
  EXPECT_EQ(parsed("Monx:1:2"), "0:-:-:-:2:1:2");
  EXPECT_EQ(parsed("Mo:1:2"), "-2:-:-:-:-:1:2");
  EXPECT_EQ(parsed("december:3:1:2"), "0:-:12:3:-:1:2");
}

TEST_F(Parser, a_day_name_serves_in_the_long_forms_too) {
  EXPECT_EQ(parsed("Feb:Mon:10:00"), "0:-:2:2:-:10:0");
  EXPECT_EQ(parsed("2026:Feb:Mon:1:00"), "0:2026:2:2:-:1:0");
}

TEST_F(Parser, numbers_take_signs_and_trailing_text) {
  EXPECT_EQ(parsed("+05"), "0:-:-:-:-:-:5");
  EXPECT_EQ(parsed("7x"), "0:-:-:-:-:-:7");
  EXPECT_EQ(parsed("-3:+05"), "0:-:-:-:-:-3:5");
  EXPECT_EQ(parsed(" 7: 8"), "0:-:-:-:-:7:8");
  EXPECT_EQ(parsed("99:99"), "0:-:-:-:-:99:99");
}

TEST_F(Parser, huge_numbers_stay_at_the_limits_of_the_field) {
  EXPECT_EQ(parsed("2147483647"), "0:-:-:-:-:-:2147483647");
  EXPECT_EQ(parsed("2147483648"), "0:-:-:-:-:-:2147483647");
  EXPECT_EQ(parsed("4294967306:00"), "0:-:-:-:-:2147483647:0");
  EXPECT_EQ(parsed("-2147483648"), "0:-:-:-:-:-:-2147483648");
  EXPECT_EQ(parsed("-2147483649"), "0:-:-:-:-:-:-2147483648");
  EXPECT_EQ(parsed("99999999999999999"), "0:-:-:-:-:-:2147483647");
}

TEST_F(Parser, a_leading_colon_is_malformed) {
  EXPECT_EQ(parsed(":10"), "-1:-:-:-:-:-:-");
  EXPECT_EQ(parsed(":"), "-1:-:-:-:-:-:-");
}

TEST_F(Parser, a_sixth_field_is_malformed_and_leaves_day_and_month_written) {
  EXPECT_EQ(parsed("1:2026:jan:5:7:00"), "-1:-:1:5:-:7:0");
}

TEST_F(Parser, a_field_that_does_not_read_ends_the_parse_where_it_stands) {
  EXPECT_EQ(parsed(""), "-2:-:-:-:-:-:-");
  EXPECT_EQ(parsed("x"), "-2:-:-:-:-:-:-");
  EXPECT_EQ(parsed("7:"), "-2:-:-:-:-:-:-");
  EXPECT_EQ(parsed("7:x"), "-2:-:-:-:-:-:-");
  EXPECT_EQ(parsed("x:30"), "-2:-:-:-:-:-:30");
  EXPECT_EQ(parsed("7::30"), "-2:-:-:-:-:-:30");
  EXPECT_EQ(parsed("5:x:30"), "-2:-:-:-:-:-:30");
  EXPECT_EQ(parsed("Xyz:10:00"), "-2:-:-:-:-:10:0");
  EXPECT_EQ(parsed("Feb:xyz:10:00"), "-2:-:-:-:-:10:0");
  EXPECT_EQ(parsed("Xyz:5:10:00"), "-2:-:-:-:-:10:0");
  EXPECT_EQ(parsed("2026:Xyz:5:10:00"), "-2:-:-:-:-:10:0");
  EXPECT_EQ(parsed("x:jan:5:7:00"), "-2:-:1:5:-:7:0");
}

TEST_F(Parser, seventeen_characters_count) {
  EXPECT_EQ(parsed("2026:Jan:15:07:30"), "0:2026:1:15:-:7:30");
  EXPECT_EQ(parsed("2026:Jan:15:07:309"), "0:2026:1:15:-:7:30");
  EXPECT_EQ(parsed("2026:Jan:15:07:3:9:9:9"), "-2:-:-:-:-:-:-");  // ends in the colon behind 3
}

TEST_F(Parser, get_val_names_first_then_numbers) {
  const char *const names[] = {"Sun", "Mon", "Monk"};
  struct {
    const char *text;
    int count, result, out;
  } rows[] = {
      {"sunday", 3, 99, 1},     {"MON", 3, 99, 2},         {"monk", 3, 99, 2},     {"Mo", 3, 0, untouched},
      {"mon", 1, 0, untouched}, {"12", 3, 1, 12},          {"-1", 3, 1, -1},       {"12Mon", 3, 1, 12},
      {"", 3, EOF, untouched},  {"  ", 3, EOF, untouched}, {"x", 0, 0, untouched}, {"7", 0, 1, 7},
  };
  for (const auto &row : rows) {
    int out = untouched;
    EXPECT_EQ(get_val(row.text, names, row.count, &out), row.result) << row.text;
    EXPECT_EQ(out, row.out) << row.text;
  }
}

TEST_F(Parser, traces_reach_standard_error_with_cli_debug_alone) {
  debug_level = 200;
  EXPECT_EQ(capture([] { parsed("30"); }).err, "");
  cli_debug = 1;
  EXPECT_EQ(capture([] { parsed("30"); }).err, "parse str 30\n- minute retrieved\n");
}

}  // namespace
