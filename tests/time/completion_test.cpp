// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/platform/platform.h"
#include "tests/time/moments.h"

namespace {

using namespace platform_test;
using namespace time_test;

constexpr int bad_format = SCH_ERR_BAD_TIME_FORMAT;
constexpr int invalid = SCH_ERR_INVALID_TIME;
constexpr int in_past = SCH_ERR_TIME_IN_PAST;

class Completion : public platform_test::PlatformTest {
 protected:
  // The start that `text` means at `now`, or the refusal.
  static std::string start(const std::string &text, const std::string &now, const char *zone = "UTC") {
    set_zone(zone);
    fake.now = moment(now);
    sch_tminfo record{};
    const tm now_tm = local(fake.now);
    const int result = get_start_time(text.c_str(), &record, &now_tm);
    if (result == bad_format) return "format";
    if (result == invalid) return "invalid";
    if (result == in_past) return "past";
    EXPECT_EQ(result, 0);
    EXPECT_EQ(record.type, static_cast<uint32_t>(SCH_SCHEDULE_ONESHOT));
    return text_of(mktime_from_tminfo(&record));
  }
};

TEST_F(Completion, absolute_text_takes_the_rest_from_now) {
  const std::string now = "2026-06-15 11:20:30 UTC";
  EXPECT_EQ(start("30", now), "2026-06-15 11:30:00 UTC");
  EXPECT_EQ(start("12:05", now), "2026-06-15 12:05:00 UTC");
  EXPECT_EQ(start("16:12:05", now), "2026-06-16 12:05:00 UTC");
  EXPECT_EQ(start("Dec:1:12:05", now), "2026-12-01 12:05:00 UTC");
  EXPECT_EQ(start("12:1:12:05", now), "2026-12-01 12:05:00 UTC");
  EXPECT_EQ(start("2027:Jan:1:00:00", now), "2027-01-01 00:00:00 UTC");
  EXPECT_EQ(start("2028:Feb:29:10:00", now), "2028-02-29 10:00:00 UTC");
  EXPECT_EQ(start("Mon:12:05", "2026-06-01 11:00:00 UTC"), "2026-06-02 12:05:00 UTC");  // Mon reads as day 2
}

TEST_F(Completion, relative_text_adds_to_now_and_carries) {
  EXPECT_EQ(start("+10", "2026-06-15 11:20:30 UTC"), "2026-06-15 11:30:00 UTC");
  EXPECT_EQ(start("+0:10", "2026-06-15 11:20:30 UTC"), "2026-06-15 11:30:00 UTC");
  EXPECT_EQ(start("+2:10", "2026-06-15 11:55:30 UTC"), "2026-06-15 14:05:00 UTC");
  EXPECT_EQ(start("+0:10", "2026-06-15 23:55:00 UTC"), "2026-06-16 00:05:00 UTC");
  EXPECT_EQ(start("+1:2:3", "2026-06-15 11:20:30 UTC"), "2026-06-16 13:23:00 UTC");
  EXPECT_EQ(start("+1:00:00", "2026-12-31 23:59:30 UTC"), "2027-01-01 23:59:00 UTC");
  EXPECT_EQ(start("+99:99:99", "2026-06-15 11:20:30 UTC"), "2026-09-26 15:59:00 UTC");
  EXPECT_EQ(start("+1:00:00", "2028-02-28 12:00:00 UTC"), "2028-02-29 12:00:00 UTC");
  EXPECT_EQ(start("+1:00:00", "2027-02-28 12:00:00 UTC"), "2027-03-01 12:00:00 UTC");
}

TEST_F(Completion, relative_minute_that_is_under_way_is_past_unless_now_is_at_its_beginning) {
  EXPECT_EQ(start("+0:00", "2026-06-15 11:20:00 UTC"), "2026-06-15 11:20:00 UTC");
  EXPECT_EQ(start("+0:00", "2026-06-15 11:20:01 UTC"), "past");
  EXPECT_EQ(start("+-1:00", "2026-06-15 11:20:00 UTC"), "2026-06-15 11:20:00 UTC");  // hour -1 means none given
  EXPECT_EQ(start("+-2:00", "2026-06-15 11:20:00 UTC"), "past");
}

TEST_F(Completion, relative_text_may_not_carry_a_month) {
  const std::string now = "2026-06-15 11:20:30 UTC";
  EXPECT_EQ(start("+1:Feb:1:00", now), "format");
  EXPECT_EQ(start("+Feb:1:1:00", now), "format");
  EXPECT_EQ(start("+2027:Feb:1:1:00", now), "format");
}

TEST_F(Completion, bad_text_is_a_format_error) {
  const std::string now = "2026-06-15 11:20:30 UTC";
  for (const char *text : {"", "+", ":10", "+:10", "x", "12:", "Xyz:10:00", "1:2026:jan:5:7:00", "++x"})
    EXPECT_EQ(start(text, now), "format") << text;
  EXPECT_EQ(start("++10", now), "2026-06-15 11:30:00 UTC");  // the second sign is the number's
}

TEST_F(Completion, range_and_past_are_the_verification_s) {
  const std::string now = "2026-06-15 11:00:01 UTC";
  EXPECT_EQ(start("10:00", now), "past");
  EXPECT_EQ(start("11:00", now), "past");
  EXPECT_EQ(start("24:00", now), "invalid");
  EXPECT_EQ(start("12:60", now), "invalid");
  EXPECT_EQ(start("31:12:00", now), "invalid");  // 31 June
  EXPECT_EQ(start("13:1:12:00", now), "invalid");
  EXPECT_EQ(start("0:1:12:00", now), "invalid");
  EXPECT_EQ(start("2027:Feb:29:10:00", now), "invalid");
  EXPECT_EQ(start("1899:Feb:1:10:00", now), "invalid");
  EXPECT_EQ(start("-2147483648:1:1:1", now), "invalid");
  EXPECT_EQ(start("99999999999", now), "invalid");
  // Wraps to a moment long before 1900, which a 32-bit time_t does not reach.
  EXPECT_EQ(start("+2147483647", "2026-06-15 11:20:00 UTC"), sizeof(time_t) == 4 ? "past" : "invalid");
}

TEST_F(Completion, seventeen_characters_count_behind_the_sign) {
  EXPECT_EQ(start("+0000000000001:1099", "2026-06-15 11:20:00 UTC"), "2026-06-15 14:09:00 UTC");
}

TEST_F(Completion, fields_hold_what_was_given_and_completed) {
  fake.now = moment("2026-06-15 11:20:30 UTC");
  const tm now_tm = local(fake.now);
  sch_tminfo record = time_test::unset();
  EXPECT_EQ(get_start_time("16:12:05", &record, &now_tm), 0);
  const sch_tminfo expected = {SCH_SCHEDULE_ONESHOT, 12, 16, 16, 5, 5, 126, time_test::untouched, time_test::untouched};
  EXPECT_EQ(record, expected);
}

TEST_F(Completion, minute_is_not_preset_and_a_failed_parse_leaves_the_type) {
  fake.now = moment("2026-06-15 11:20:30 UTC");
  const tm now_tm = local(fake.now);
  sch_tminfo record = time_test::unset();
  EXPECT_EQ(get_start_time("x", &record, &now_tm), bad_format);
  const int32_t kept = time_test::untouched;
  const sch_tminfo expected = {static_cast<uint32_t>(kept), -1, -1, -1, kept, -1, -1, kept, kept};
  EXPECT_EQ(record, expected);
}

// Daylight-saving flag 0: the operator's hour is standard time; the carried fields are the wall clock's, and are read
// as standard time once more.
TEST_F(Completion, the_hour_is_standard_time_in_summer) {
  EXPECT_EQ(start("2026:Jul:1:10:00", "2026-06-15 11:20:30 CEST", "Europe/Berlin"), "2026-07-01 11:00:00 CEST");
  EXPECT_EQ(start("2026:Jan:10:10:0", "2026-01-01 11:20:30 CET", "Europe/Berlin"), "2026-01-10 10:00:00 CET");
  EXPECT_EQ(start("2026:Jan:10:10:0", "2026-01-01 11:20:30 AEDT", "Australia/Sydney"), "2026-01-10 11:00:00 AEDT");
  EXPECT_EQ(start("2026:Jul:10:10:0", "2026-01-01 11:20:30 AEDT", "Australia/Sydney"), "2026-07-10 10:00:00 AEST");
  EXPECT_EQ(start("2026:Jul:10:10:0", "2026-01-01 11:20:30 IST", "Asia/Kolkata"), "2026-07-10 10:00:00 IST");
  EXPECT_EQ(start("+0:10", "2026-06-15 11:20:00 CEST", "Europe/Berlin"), "2026-06-15 13:30:00 CEST");
  EXPECT_EQ(start("+0:10", "2026-01-15 11:20:00 CET", "Europe/Berlin"), "2026-01-15 11:30:00 CET");
  EXPECT_EQ(start("2026:Mar:29:02:30", "2026-01-15 11:20:00 CET", "Europe/Berlin"), "2026-03-29 03:30:00 CEST");
}

TEST_F(Completion, carrying_over_rewrites_the_calendar_fields_alone) {
  sch_tminfo record = {3, 49, 7, 31, 70, 11, 126, 8, 9};
  normalize_incremental_time(&record);
  const sch_tminfo expected = {3, 2, 7, 2, 10, 0, 127, 8, 9};  // 31 December 49:70 is 2 January 02:10
  EXPECT_EQ(record, expected);
}

TEST_F(Completion, a_relative_month_is_refused_before_the_record_is_dumped) {
  fake.now = moment("2026-06-15 23:55:00 UTC");
  const tm now_tm = local(fake.now);
  sch_tminfo record = time_test::unset();
  EXPECT_EQ(get_start_time("+2:1:1:00", &record, &now_tm), bad_format);
  const sch_tminfo expected = {SCH_SCHEDULE_ONESHOT, 24, -1, 1, 55, 2, -1, time_test::untouched, time_test::untouched};
  EXPECT_EQ(record, expected);  // hour and minute are added to, the given day of month is not
  EXPECT_EQ(fake.traces(103).back(), "- month retrieved");
}

TEST_F(Completion, out_of_range_fields_are_carried_by_the_conversion) {
  const sch_tminfo record = oneshot(2026, 14, 0, 25, 61);
  EXPECT_EQ(text_of(mktime_from_tminfo(&record)), "2027-02-01 02:01:00 UTC");
}

}  // namespace
