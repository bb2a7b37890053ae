// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <cstring>

#include "tests/acfg/configuration.h"
#include "tests/time/time_row.h"

using namespace platform_test;

namespace {

using ScheduleTypeTest = PlatformTest;

constexpr int32_t start = leap_day;

const TimeRow rows[] = {
    {"one-shot", 1, 10, 0, 29, 0, 1, 128, 0, "  time start 2028:02:29:10:00\n"},
    {"one-shot, one digit each", 1, 1, 0, 2, 3, 0, -1899, 0, "  time start 1:01:02:01:03\n"},
    {"one-shot, sums wrap", 1, 0, 0, 0, 0, INT32_MAX, INT32_MAX, 0, "  time start -2147481749:-2147483648:00:00:00\n"},
    {"daily", 3, 23, 0, 0, 30, 0, 0, 0, "  time daily 23:30\n"},
    {"daily at midnight", 3, 0, 0, 0, 0, 0, 0, 0, "  time daily 00:00\n"},
    {"daily without hour", 3, -1, 0, 0, 5, 0, 0, 0, "  time daily 05\n"},
    {"weekly", 4, 4, 7, 0, 30, 0, 0, 0, "  time weekly 07:04:30\n"},
    {"weekly at 0", 4, 0, 1, 0, 0, 0, 0, 0, "  time weekly 01:00:00\n"},
    {"weekly without day", 4, 4, -1, 0, 30, 0, 0, 0, "  time weekly 00:04:30\n"},
    {"weekly without hour", 4, -1, 1, 0, 30, 0, 0, 0, "  time weekly 01:00:30\n"},
    {"monthly", 5, 4, 0, 31, 30, 0, 0, 0, "  time monthly 31:04:30\n"},
    {"monthly without day", 5, 4, 0, INT32_MIN, 30, 0, 0, 0, "  time monthly 00:04:30\n"},
    {"monthly without hour", 5, INT32_MIN, 0, 1, 30, 0, 0, 0, "  time monthly 01:00:30\n"},
    {"periodic", 7, 2, 1, 0, 3, 0, 0, start, "  time start 2024:02:29:12:34 repeat 1:2:3\n"},
    {"periodic without days", 7, 2, 0, 0, 3, 0, 0, start, "  time start 2024:02:29:12:34 repeat 0:2:3\n"},
    {"periodic, unset counts", 7, -1, -1, 0, 3, 0, 0, start, "  time start 2024:02:29:12:34 repeat 0:0:3\n"},
    {"periodic, minutes as they are", 7, 0, 1, 0, -4, 0, 0, start, "  time start 2024:02:29:12:34 repeat 1:0:-4\n"},
    {"periodic to the epoch's end", 7, 1, 0, 0, 0, 0, 0, INT32_MAX, "  time start 2038:01:19:03:14 repeat 0:1:0\n"},
    {"periodic from before the epoch", 7, 1, 0, 0, 0, 0, 0, INT32_MIN, "  time start 1901:12:13:20:45 repeat 0:1:0\n"},
    {"no type", 0, 1, 1, 1, 1, 1, 1, 1, "untouched"},
    {"unused type 2", 2, 1, 1, 1, 1, 1, 1, 1, "untouched"},
    {"unused type 6", 6, 1, 1, 1, 1, 1, 1, 1, "untouched"},
    {"type 8", 8, 1, 1, 1, 1, 1, 1, 1, "untouched"},
    {"a type out of range", 0xffffffff, 1, 1, 1, 1, 1, 1, 1, "untouched"},
};

TEST_F(ScheduleTypeTest, time_lines) {
  for (const TimeRow &row : rows) {
    const sch_tminfo time = record(row);
    char buffer[128] = "untouched";
    sch_acfg_print_schedule_type(&time, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, row.text) << row.scenario;
    EXPECT_EQ(sch_acfg_print_schedule_type(&time, nullptr, sizeof buffer), 0) << "a null buffer is left alone";
  }
}

TEST_F(ScheduleTypeTest, the_line_is_cut_at_the_size) {
  for (const TimeRow &row : rows) {
    const sch_tminfo time = record(row);
    char buffer[16] = "0123456789abcde";
    sch_acfg_print_schedule_type(&time, buffer, 0);
    EXPECT_STREQ(buffer, "0123456789abcde") << row.scenario;
    if (std::strcmp(row.text, "untouched") == 0) continue;
    sch_acfg_print_schedule_type(&time, buffer, 8);
    EXPECT_EQ(std::string(buffer), std::string(row.text).substr(0, 7)) << row.scenario;
    EXPECT_STREQ(buffer + 8, "89abcde") << row.scenario;
  }
}

TEST_F(ScheduleTypeTest, a_periodic_start_is_local_time) {
  const sch_tminfo time = {7, 1, 0, 0, 0, 0, 0, start, 0};
  for (const auto &[zone, clock] : leap_day_clocks) {
    set_zone(zone);
    char buffer[64] = "";
    sch_acfg_print_schedule_type(&time, buffer, sizeof buffer);
    EXPECT_EQ(buffer, std::string("  time start 2024:02:29:") + clock + " repeat 0:1:0\n") << zone;
  }
}

TEST(sch_strcpy, copies_within_the_size) {
  struct {
    const char *scenario;
    const char *source;
    size_t size;
    std::string bytes;  // of a field of eight "."
  } const cases[] = {
      {"six letters into four", "abcdef", 4, std::string("abc\0....", 8)},
      {"as long as the size", "abcd", 4, std::string("abc\0....", 8)},
      {"one shorter than the size", "abc", 4, std::string("abc\0....", 8)},
      {"shorter: padded", "a", 4, std::string("a\0\0\0....", 8)},
      {"empty source", "", 4, std::string("\0\0\0\0....", 8)},
      {"null source", nullptr, 4, std::string("\0.......", 8)},
      {"size 1", "abc", 1, std::string("\0.......", 8)},
      {"size 0", "abc", 0, "........"},
      {"null source, size 0", nullptr, 0, "........"},
  };
  for (const auto &row : cases) {
    char field[9] = "........";
    sch_strcpy(field, row.source, row.size);
    EXPECT_EQ(std::string(field, 8), row.bytes) << row.scenario;
  }
}

}  // namespace
