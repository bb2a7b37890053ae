// SPDX-License-Identifier: Apache-2.0
#include <climits>

#include "tests/show/replies.h"
#include "tests/time/time_row.h"

using namespace platform_test;
using namespace show_test;

namespace {

using ConfigTimeTest = PlatformTest;

constexpr int32_t start = leap_day;

const TimeRow rows[] = {
    {"one-shot", 1, 10, 0, 29, 0, 1, 128, 0, "time start 2028:02:29:10:00\n"},
    {"one-shot, one digit each", 1, 1, 0, 2, 3, 0, -1899, 0, "time start 1:01:02:01:03\n"},
    {"one-shot, sums wrap", 1, 0, 0, 0, 0, INT32_MAX, INT32_MAX, 0, "time start -2147481749:-2147483648:00:00:00\n"},
    {"daily", 3, 23, 0, 0, 30, 0, 0, 0, "time daily 23:30\n"},
    {"daily at midnight", 3, 0, 0, 0, 0, 0, 0, 0, "time daily 00:00\n"},
    {"daily without hour", 3, -1, 0, 0, 5, 0, 0, 0, "time daily 05\n"},
    {"weekly", 4, 4, 7, 0, 30, 0, 0, 0, "time weekly 07:04:30\n"},
    {"weekly without day", 4, 4, 0, 0, 30, 0, 0, 0, "time weekly 04:30\n"},
    {"weekly without hour", 4, -1, 1, 0, 30, 0, 0, 0, "time weekly 01:30\n"},
    {"weekly, minute alone", 4, -1, -1, 0, 30, 0, 0, 0, "time weekly 30\n"},
    {"monthly", 5, 4, 0, 31, 30, 0, 0, 0, "time monthly 31:04:30\n"},
    {"monthly without day", 5, 4, 0, 0, 30, 0, 0, 0, "time monthly 04:30\n"},
    {"monthly without hour", 5, -1, 0, 1, 30, 0, 0, 0, "time monthly 01:30\n"},
    {"periodic", 7, 2, 1, 0, 3, 0, 0, start, "time start 2024:02:29:12:34 repeat 1:2:3\n"},
    {"periodic without days", 7, 2, 0, 0, 3, 0, 0, start, "time start 2024:02:29:12:34 repeat 2:3\n"},
    {"periodic, minutes alone", 7, 0, 0, 0, 3, 0, 0, start, "time start 2024:02:29:12:34 repeat 3\n"},
    {"periodic, unset is left out", 7, -1, -1, 0, 3, 0, 0, start, "time start 2024:02:29:12:34 repeat 3\n"},
    {"periodic, days keep the hours", 7, 0, 1, 0, 0, 0, 0, start, "time start 2024:02:29:12:34 repeat 1:0:0\n"},
    {"periodic, days keep unset hours", 7, -1, 5, 0, 0, 0, 0, start, "time start 2024:02:29:12:34 repeat 5:-1:0\n"},
    {"periodic, day count below 1", 7, 1, -7, 0, 0, 0, 0, start, "time start 2024:02:29:12:34 repeat 1:0\n"},
    {"periodic from the epoch's end", 7, 1, 0, 0, 0, 0, 0, INT32_MAX, "time start 2038:01:19:03:14 repeat 1:0\n"},
    {"periodic from before the epoch", 7, 1, 0, 0, 0, 0, 0, INT32_MIN, "time start 1901:12:13:20:45 repeat 1:0\n"},
    {"the longest pieces", 7, INT32_MAX, INT32_MAX, 0, INT32_MIN, 0, 0, 0,
     "time start 1970:01:01:00:00 repeat 2147483647:2147483647:-2147483648\n"},
    {"no type", 0, 1, 1, 1, 1, 1, 1, 1, ""},
    {"unused type 2", 2, 1, 1, 1, 1, 1, 1, 1, ""},
    {"unused type 6", 6, 1, 1, 1, 1, 1, 1, 1, ""},
    {"type 8", 8, 1, 1, 1, 1, 1, 1, 1, ""},
    {"a type out of range", 0xffffffff, 1, 1, 1, 1, 1, 1, 1, ""},
};

TEST_F(ConfigTimeTest, time_lines_on_standard_output) {
  for (const TimeRow &row : rows) {
    const sch_tminfo time = record(row);
    EXPECT_EQ(printed([&] { print_config_schedule_type(&time, nullptr); }), row.text) << row.scenario;
  }
}

TEST_F(ConfigTimeTest, a_periodic_start_is_local_time) {
  const sch_tminfo time = {7, 1, 0, 0, 0, 0, 0, start, 0};
  for (const auto &[zone, clock] : leap_day_clocks) {
    set_zone(zone);
    EXPECT_EQ(printed([&] { print_config_schedule_type(&time, nullptr); }),
              std::string("time start 2024:02:29:") + clock + " repeat 1:0\n")
        << zone;
  }
}

TEST_F(ConfigTimeTest, a_buffer_takes_four_characters_of_each_piece) {
  struct {
    const char *scenario;
    sch_tminfo time;
    const char *text;
  } const buffered[] = {
      {"one-shot is one piece", {1, 10, 0, 29, 0, 1, 128, 0, 0}, "-time"},
      {"daily", {3, 23, 0, 0, 30, 0, 0, 0, 0}, "-time23:30\n"},
      {"daily without hour", {3, -1, 0, 0, 5, 0, 0, 0, 0}, "-time05\n"},
      {"weekly", {4, 4, 7, 0, 30, 0, 0, 0, 0}, "-time07:04:30\n"},
      {"monthly", {5, 4, 0, 31, 30, 0, 0, 0, 0}, "-time31:04:30\n"},
      {"periodic", {7, 12345, 23456, 0, 3, 0, 0, start, 0}, "-time234512343\n"},
      {"none", {0, 1, 1, 1, 1, 1, 1, 1, 1}, "-"},
  };
  for (const auto &row : buffered) {
    char buffer[32] = "-";
    EXPECT_EQ(printed([&] { print_config_schedule_type(&row.time, buffer); }), "") << row.scenario;
    EXPECT_STREQ(buffer, row.text) << row.scenario;
  }
}

TEST_F(ConfigTimeTest, nothing_behind_the_terminator_of_a_buffer_is_touched) {
  const sch_tminfo times[] = {{1, 10, 0, 29, 0, 1, 128, 0, 0},
                              {3, -1, 0, 0, 5, 0, 0, 0, 0},
                              {7, 0, 1, 0, 3, 0, 0, start, 0},
                              {7, 0, 0, 0, 3, 0, 0, start, 0}};
  for (const sch_tminfo &time : times) {
    std::string buffer(32, 'x');
    buffer[0] = '\0';
    print_config_schedule_type(&time, buffer.data());
    const size_t end = buffer.find('\0') + 1;
    EXPECT_EQ(buffer.substr(end), std::string(32 - end, 'x')) << time.type << " " << time.day_of_week;
  }
}

}  // namespace
