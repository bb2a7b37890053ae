// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <climits>

#include "tests/platform/platform.h"
#include "tests/time/moments.h"

namespace {

using namespace platform_test;
using namespace time_test;
using testing::IsEmpty;

constexpr time_t kept_time = 4711;
constexpr sch_timeval kept_interval = {-7, -8};

struct Answer {
  int result;
  sch_timeval interval;
  time_t next;
};

Answer compute(const sch_tminfo &record) {
  Answer answer{-99, kept_interval, kept_time};
  answer.result = sch_compute_timer_interval(&record, &answer.interval, &answer.next);
  return answer;
}

// The next run behind `now` in `zone`; the interval must lead there.
std::string next(const sch_tminfo &record, const std::string &now, const char *zone = "UTC") {
  set_zone(zone);
  fake.now = moment(now);
  const Answer answer = compute(record);
  if (answer.result != 0) {
    EXPECT_EQ(answer.result, -1);
    EXPECT_EQ(answer.next, kept_time);
    return "none";
  }
  EXPECT_EQ(answer.interval.seconds, answer.next - fake.now);
  EXPECT_EQ(answer.interval.microseconds, 0);
  return text_of(answer.next);
}

class Timer : public PlatformTest {};

TEST_F(Timer, daily_later_today_runs_today) {
  EXPECT_EQ(next(daily(10, 30), "2026-06-15 10:29:59 UTC"), "2026-06-15 10:30:00 UTC");
  EXPECT_EQ(next(daily(23, 59), "2026-06-15 00:00:00 UTC"), "2026-06-15 23:59:00 UTC");
}

TEST_F(Timer, daily_at_this_very_second_or_before_runs_tomorrow) {
  EXPECT_EQ(next(daily(10, 30), "2026-06-15 10:30:00 UTC"), "2026-06-16 10:30:00 UTC");
  EXPECT_EQ(next(daily(10, 30), "2026-06-15 10:30:59 UTC"), "2026-06-16 10:30:00 UTC");
  EXPECT_EQ(next(daily(0, 0), "2026-06-15 00:00:00 UTC"), "2026-06-16 00:00:00 UTC");
}

TEST_F(Timer, daily_crosses_month_year_and_leap_ends) {
  EXPECT_EQ(next(daily(1, 0), "2026-06-30 12:00:00 UTC"), "2026-07-01 01:00:00 UTC");
  EXPECT_EQ(next(daily(1, 0), "2026-12-31 12:00:00 UTC"), "2027-01-01 01:00:00 UTC");
  EXPECT_EQ(next(daily(1, 0), "2028-02-28 12:00:00 UTC"), "2028-02-29 01:00:00 UTC");
  EXPECT_EQ(next(daily(1, 0), "2027-02-28 12:00:00 UTC"), "2027-03-01 01:00:00 UTC");
}

// 2026-06-15 is a Monday.
TEST_F(Timer, weekly_later_in_the_week) {
  EXPECT_EQ(next(weekly(3, 9, 0), "2026-06-15 12:00:00 UTC"), "2026-06-16 09:00:00 UTC");
  EXPECT_EQ(next(weekly(7, 9, 0), "2026-06-15 12:00:00 UTC"), "2026-06-20 09:00:00 UTC");
  EXPECT_EQ(next(weekly(7, 9, 0), "2026-06-14 12:00:00 UTC"), "2026-06-20 09:00:00 UTC");
}

TEST_F(Timer, weekly_earlier_in_the_week_runs_next_week) {
  EXPECT_EQ(next(weekly(1, 9, 0), "2026-06-15 08:00:00 UTC"), "2026-06-21 09:00:00 UTC");
  EXPECT_EQ(next(weekly(1, 9, 0), "2026-06-20 08:00:00 UTC"), "2026-06-21 09:00:00 UTC");
  EXPECT_EQ(next(weekly(6, 9, 0), "2026-06-20 08:00:00 UTC"), "2026-06-26 09:00:00 UTC");
}

TEST_F(Timer, weekly_today_still_ahead_runs_today) {
  EXPECT_EQ(next(weekly(2, 9, 0), "2026-06-15 08:59:59 UTC"), "2026-06-15 09:00:00 UTC");
}

TEST_F(Timer, weekly_today_already_passed_runs_in_seven_days) {
  EXPECT_EQ(next(weekly(2, 9, 0), "2026-06-15 09:00:00 UTC"), "2026-06-22 09:00:00 UTC");
  EXPECT_EQ(next(weekly(2, 9, 0), "2026-06-15 09:00:01 UTC"), "2026-06-22 09:00:00 UTC");
}

TEST_F(Timer, weekly_crosses_month_year_and_leap_ends) {
  EXPECT_EQ(next(weekly(4, 9, 0), "2026-06-30 12:00:00 UTC"), "2026-07-01 09:00:00 UTC");
  EXPECT_EQ(next(weekly(6, 9, 0), "2026-12-31 12:00:00 UTC"), "2027-01-01 09:00:00 UTC");
  EXPECT_EQ(next(weekly(3, 9, 0), "2028-02-28 12:00:00 UTC"), "2028-02-29 09:00:00 UTC");
  EXPECT_EQ(next(weekly(2, 9, 0), "2028-02-28 12:00:00 UTC"), "2028-03-06 09:00:00 UTC");
}

TEST_F(Timer, monthly_later_in_the_month) {
  EXPECT_EQ(next(monthly(20, 9, 0), "2026-06-15 12:00:00 UTC"), "2026-06-20 09:00:00 UTC");
  EXPECT_EQ(next(monthly(31, 9, 0), "2026-04-10 12:00:00 UTC"), "2026-04-30 09:00:00 UTC");
  EXPECT_EQ(next(monthly(31, 9, 0), "2026-12-10 12:00:00 UTC"), "2026-12-31 09:00:00 UTC");
  EXPECT_EQ(next(monthly(30, 9, 0), "2027-02-10 12:00:00 UTC"), "2027-02-28 09:00:00 UTC");
  EXPECT_EQ(next(monthly(30, 9, 0), "2028-02-10 12:00:00 UTC"), "2028-02-29 09:00:00 UTC");
}

TEST_F(Timer, monthly_today_still_ahead_runs_today) {
  EXPECT_EQ(next(monthly(15, 9, 0), "2026-06-15 08:59:59 UTC"), "2026-06-15 09:00:00 UTC");
  EXPECT_EQ(next(monthly(31, 9, 0), "2026-06-30 08:59:59 UTC"), "2026-06-30 09:00:00 UTC");
}

TEST_F(Timer, monthly_today_already_passed_takes_the_unclamped_day_of_the_next_month) {
  EXPECT_EQ(next(monthly(15, 9, 0), "2026-06-15 09:00:00 UTC"), "2026-07-15 09:00:00 UTC");
  EXPECT_EQ(next(monthly(31, 9, 0), "2027-01-31 12:00:00 UTC"), "2027-03-03 09:00:00 UTC");
  EXPECT_EQ(next(monthly(31, 9, 0), "2028-01-31 12:00:00 UTC"), "2028-03-02 09:00:00 UTC");
  EXPECT_EQ(next(monthly(31, 9, 0), "2026-04-30 12:00:00 UTC"), "2026-05-31 09:00:00 UTC");
  EXPECT_EQ(next(monthly(31, 9, 0), "2026-12-31 12:00:00 UTC"), "2027-01-31 09:00:00 UTC");
  EXPECT_EQ(next(monthly(30, 9, 0), "2027-02-28 12:00:00 UTC"), "2027-03-30 09:00:00 UTC");
}

TEST_F(Timer, monthly_past_the_day_takes_the_clamped_day_of_the_next_month) {
  EXPECT_EQ(next(monthly(10, 9, 0), "2026-06-15 08:00:00 UTC"), "2026-07-10 09:00:00 UTC");
  EXPECT_EQ(next(monthly(30, 9, 0), "2027-01-31 12:00:00 UTC"), "2027-02-28 09:00:00 UTC");
  EXPECT_EQ(next(monthly(30, 9, 0), "2028-01-31 12:00:00 UTC"), "2028-02-29 09:00:00 UTC");
  EXPECT_EQ(next(monthly(30, 9, 0), "2026-12-31 12:00:00 UTC"), "2027-01-30 09:00:00 UTC");
  EXPECT_EQ(next(monthly(1, 9, 0), "2026-12-31 12:00:00 UTC"), "2027-01-01 09:00:00 UTC");
}

TEST_F(Timer, oneshot_runs_at_its_time_and_never_again) {
  EXPECT_EQ(next(oneshot(2026, 6, 15, 11, 0), "2026-06-15 10:00:00 UTC"), "2026-06-15 11:00:00 UTC");
  EXPECT_EQ(next(oneshot(2026, 6, 15, 11, 0), "2026-06-15 11:00:00 UTC"), "2026-06-15 11:00:00 UTC");
  EXPECT_EQ(next(oneshot(2026, 6, 15, 11, 0), "2026-06-15 11:00:01 UTC"), "none");
  EXPECT_EQ(next(oneshot(2028, 2, 29, 11, 0), "2026-06-15 11:00:01 UTC"), "2028-02-29 11:00:00 UTC");
}

TEST_F(Timer, a_time_in_the_past_clears_the_interval_and_keeps_the_next_time) {
  fake.now = moment("2026-06-15 11:00:01 UTC");
  const Answer answer = compute(oneshot(2026, 6, 15, 11, 0));
  EXPECT_EQ(answer.result, -1);
  EXPECT_EQ(answer.interval.seconds, 0);
  EXPECT_EQ(answer.interval.microseconds, 0);
  EXPECT_EQ(answer.next, kept_time);
}

TEST_F(Timer, periodic_follows_its_last_run) {
  const std::string now = "2026-06-15 11:00:00 UTC";
  const time_t start = moment("2026-06-15 08:00:00 UTC");
  EXPECT_EQ(next(periodic(0, 1, 30, start, moment("2026-06-15 10:15:00 UTC")), now), "2026-06-15 11:45:00 UTC");
  EXPECT_EQ(next(periodic(2, 3, 4, start, start), now), "2026-06-17 11:04:00 UTC");
  EXPECT_EQ(next(periodic(0, 0, 45, start, moment("2026-06-15 10:15:00 UTC")), now), "2026-06-15 11:00:00 UTC");
  EXPECT_EQ(next(periodic(0, 0, 44, start, moment("2026-06-15 10:15:00 UTC")), now), "none");  // late
}

TEST_F(Timer, periodic_without_a_run_waits_for_its_start) {
  const std::string now = "2026-06-15 11:00:00 UTC";
  EXPECT_EQ(next(periodic(0, 1, 0, moment("2026-06-15 11:00:01 UTC")), now), "2026-06-15 11:00:01 UTC");
  EXPECT_EQ(next(periodic(0, 1, 0, moment("2026-06-16 11:00:01 UTC")), now), "2026-06-16 11:00:01 UTC");
  EXPECT_EQ(next(periodic(0, 1, 0, moment("2026-06-15 11:00:00 UTC")), now), "2026-06-15 12:00:00 UTC");
  EXPECT_EQ(next(periodic(0, 1, 0, moment("2026-06-15 08:00:00 UTC")), now), "2026-06-15 12:00:00 UTC");
  const time_t start = moment("2026-06-15 08:00:00 UTC");
  EXPECT_EQ(next(periodic(0, 1, 0, start, start - 1), now), "2026-06-15 12:00:00 UTC");  // a run before the start
}

TEST_F(Timer, other_types_touch_nothing) {
  for (uint32_t type : {0u, 2u, 6u, 8u, 9u, 0x80000000u, 0xffffffffu}) {
    sch_tminfo record = daily(10, 30);
    record.type = type;
    const Answer answer = compute(record);
    EXPECT_EQ(answer.result, -1) << type;
    EXPECT_EQ(answer.interval.seconds, kept_interval.seconds);
    EXPECT_EQ(answer.interval.microseconds, kept_interval.microseconds);
    EXPECT_EQ(answer.next, kept_time);
  }
}

TEST_F(Timer, traces_stay_off_standard_error_without_cli_debug) {
  debug_level = 200;
  EXPECT_EQ(capture([] { compute(monthly(10, 10, 30)); }).err, "");
}

TEST_F(Timer, no_trace_reaches_a_sink_that_refuses_it) {
  fake.history_allowed = fake.buginf_allowed = false;
  const sch_timeval interval = {1, 2};
  sch_tminfo record{};
  const auto output = capture([&] {
    for (const char *text : {"30", "7:30", "Mon:7:30", "Feb:3:7:30", "2026:Feb:3:7:30"})
      EXPECT_EQ(sch_parse_str_to_tminfo(text, &record), 0);
    print_timeval(&interval);
    for (int day = 1; day <= 7; ++day)
      next(weekly(day, 9, 0), "2026-06-17 12:00:00 UTC");
    for (int day : {16, 17, 18})
      next(monthly(day, 9, 0), "2026-06-17 12:00:00 UTC");
    for (int hour : {9, 13})
      next(daily(hour, 0), "2026-06-17 12:00:00 UTC");
    next(oneshot(2026, 6, 18, 0, 0), "2026-06-17 12:00:00 UTC");
  });
  EXPECT_EQ(output.err + output.out, "");
  EXPECT_THAT(fake.history, IsEmpty());
  EXPECT_THAT(fake.buginf, IsEmpty());
}

// The daylight-saving flag is copied from now: behind a clock change the run keeps the offset in force now.
TEST_F(Timer, daily_across_the_clock_change_keeps_the_offset_of_now) {
  const char *berlin = "Europe/Berlin";
  EXPECT_EQ(next(daily(10, 0), "2026-03-28 12:00:00 CET", berlin), "2026-03-29 11:00:00 CEST");
  EXPECT_EQ(next(daily(2, 30), "2026-03-28 12:00:00 CET", berlin), "2026-03-29 03:30:00 CEST");  // no such hour
  EXPECT_EQ(next(daily(1, 59), "2026-03-28 12:00:00 CET", berlin), "2026-03-29 01:59:00 CET");
  EXPECT_EQ(next(daily(10, 0), "2026-03-29 01:00:00 CET", berlin), "2026-03-29 11:00:00 CEST");
  EXPECT_EQ(next(daily(10, 0), "2026-03-29 03:00:00 CEST", berlin), "2026-03-29 10:00:00 CEST");
  EXPECT_EQ(next(daily(10, 0), "2026-10-24 12:00:00 CEST", berlin), "2026-10-25 09:00:00 CET");
  EXPECT_EQ(next(daily(2, 30), "2026-10-24 12:00:00 CEST", berlin), "2026-10-25 02:30:00 CEST");
  EXPECT_EQ(next(daily(2, 30), "2026-10-25 02:00:00 CET", berlin), "2026-10-25 02:30:00 CET");
  EXPECT_EQ(next(daily(10, 0), "2026-10-25 02:00:00 CEST", berlin), "2026-10-25 09:00:00 CET");
  EXPECT_EQ(next(daily(10, 0), "2026-10-25 03:00:00 CET", berlin), "2026-10-25 10:00:00 CET");
}

// Southern hemisphere: daylight saving ends on 2026-04-05 and begins on 2026-10-04.
TEST_F(Timer, southern_clock_changes_behave_alike) {
  const char *sydney = "Australia/Sydney";
  EXPECT_EQ(next(daily(10, 0), "2026-04-04 12:00:00 AEDT", sydney), "2026-04-05 09:00:00 AEST");
  EXPECT_EQ(next(daily(10, 0), "2026-10-03 12:00:00 AEST", sydney), "2026-10-04 11:00:00 AEDT");
  EXPECT_EQ(next(weekly(1, 10, 0), "2026-04-02 12:00:00 AEDT", sydney), "2026-04-05 09:00:00 AEST");
  EXPECT_EQ(next(monthly(5, 10, 0), "2026-04-02 12:00:00 AEDT", sydney), "2026-04-05 09:00:00 AEST");
  EXPECT_EQ(next(daily(10, 0), "2026-12-31 12:00:00 AEDT", sydney), "2027-01-01 10:00:00 AEDT");
}

TEST_F(Timer, weekly_and_monthly_cross_the_clock_change_with_the_offset_of_now) {
  const char *berlin = "Europe/Berlin";
  EXPECT_EQ(next(weekly(2, 10, 0), "2026-03-26 12:00:00 CET", berlin), "2026-03-30 11:00:00 CEST");
  EXPECT_EQ(next(weekly(5, 10, 0), "2026-03-26 12:00:00 CET", berlin), "2026-04-02 11:00:00 CEST");
  EXPECT_EQ(next(monthly(1, 10, 0), "2026-03-26 12:00:00 CET", berlin), "2026-04-01 11:00:00 CEST");
  EXPECT_EQ(next(monthly(1, 10, 0), "2026-10-10 12:00:00 CEST", berlin), "2026-11-01 09:00:00 CET");
}

// 01:00 CEST was 00:00 CET: the first conversion corrects hour and flag in place, and both go on to the next day.
TEST_F(Timer, a_passed_time_before_the_change_carries_its_corrected_hour_and_flag_on) {
  const char *berlin = "Europe/Berlin";
  EXPECT_EQ(next(daily(1, 0), "2026-03-29 12:00:00 CEST", berlin), "2026-03-30 01:00:00 CEST");
  EXPECT_EQ(next(weekly(1, 1, 0), "2026-03-29 12:00:00 CEST", berlin), "2026-04-05 01:00:00 CEST");
  EXPECT_EQ(next(monthly(29, 1, 0), "2026-03-29 12:00:00 CEST", berlin), "2026-04-29 01:00:00 CEST");
}

TEST_F(Timer, a_zone_that_changes_counts_from_the_next_computation_on) {
  EXPECT_EQ(next(daily(0, 15), "2026-06-15 00:14:00 UTC"), "2026-06-15 00:15:00 UTC");
  setenv("TZ", "Asia/Kolkata", 1);
  EXPECT_EQ(text_of(compute(daily(5, 50)).next), "2026-06-15 05:50:00 IST");  // it is 05:44
}

TEST_F(Timer, a_zone_that_the_environment_has_got_meanwhile_counts_without_tzset) {
  set_zone("UTC");
  fake.now = moment("2026-06-15 02:00:00 UTC");
  setenv("TZ", "America/New_York", 1);  // it is 22:00 of the day before there
  EXPECT_EQ(text_of(compute(daily(23, 0)).next), "2026-06-14 23:00:00 EDT");
}

TEST_F(Timer, half_hour_offsets_count) {
  const char *kolkata = "Asia/Kolkata";
  EXPECT_EQ(next(daily(0, 15), "2026-06-15 00:14:59 IST", kolkata), "2026-06-15 00:15:00 IST");
  EXPECT_EQ(next(daily(5, 30), "2026-12-31 05:30:00 IST", kolkata), "2027-01-01 05:30:00 IST");
  EXPECT_EQ(next(weekly(2, 0, 15), "2026-06-15 00:15:00 IST", kolkata), "2026-06-22 00:15:00 IST");
  EXPECT_EQ(next(monthly(31, 0, 15), "2026-06-30 00:10:00 IST", kolkata), "2026-06-30 00:15:00 IST");
}

TEST_F(Timer, the_interval_is_held_in_32_bits_of_seconds) {
  fake.now = moment("2026-06-15 11:00:00 UTC");
  const Answer answer = compute(periodic(24855, 3, 14, fake.now - 10));
  if (sizeof(time_t) == 4) {  // wraps into the past
    EXPECT_EQ(answer.result, -1);
  } else {
    EXPECT_EQ(answer.result, 0);
    EXPECT_EQ(answer.interval.seconds, 2147483640);
    EXPECT_EQ(answer.next, fake.now + 2147483640);
  }
}

TEST_F(Timer, fields_far_out_of_range_do_no_harm) {
  fake.now = moment("2026-06-15 11:00:00 UTC");
  for (int field : {INT_MIN, INT_MIN + 1, -1, 0, 32, 100000, INT_MAX - 1, INT_MAX}) {
    sch_tminfo record = {0, field, field, field, field, field, field, field, field};
    for (record.type = 0; record.type < 9; ++record.type) {
      const Answer answer = compute(record);
      if (answer.result == 0)
        EXPECT_GE(answer.next, fake.now) << record;
      else
        EXPECT_EQ(answer.next, kept_time) << record;
    }
  }
}

// A 32-bit time_t ends long before: the conversion fails there.
TEST_F(Timer, a_moment_without_calendar_text_is_traced_empty) {
  fake.now = moment("2026-06-15 11:00:00 UTC");
  const int result = compute(oneshot(12000, 1, 1, 0, 0)).result;
  const bool narrow = sizeof(time_t) == 4;
  EXPECT_EQ(result, narrow ? -1 : 0);
  EXPECT_EQ(fake.traces(103).at(8), narrow ? "Future Wed Dec 31 23:59:59 1969\n" : "Future ");
}

}  // namespace
