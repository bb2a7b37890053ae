// SPDX-License-Identifier: Apache-2.0
// The next due time after a moment, in zones that change their clocks: each line is one case.
#include "service/calendar/calendar.h"

#include <gtest/gtest.h>

#include "tests/service/calendar_records.h"

namespace calendar_test {
namespace {

using service::next_due;
using service::WallTime;

constexpr char none[] = "none";

std::string next(const sch_tminfo &time, const std::string &after, const std::string &zone_name,
                 WallTime taken = service::nothing_taken) {
  const service::Zone in = zone(zone_name);
  EXPECT_EQ(in.identifier(), zone_name);
  const std::optional<uint32_t> due = next_due(time, read(after), in, taken);
  return due ? shown(*due, in) : none;
}

// Two in a row: the second is asked for as the service asks, after the first one was taken.
std::string next_two(const sch_tminfo &time, const std::string &after, const std::string &zone_name) {
  const service::Zone in = zone(zone_name);
  const std::string first = next(time, after, zone_name);
  return first + ", " + next(time, first, zone_name, in.wall_at(read(first)));
}

TEST(Calendar, prints_and_reads_back_the_same) {
  const service::Zone berlin = zone("Europe/Berlin");
  EXPECT_EQ(shown(utc(2027, 7, 1, 10, 0), berlin), "2027-07-01 12:00:00 +02:00");
  EXPECT_EQ(read("2027-07-01 12:00 +02:00"), utc(2027, 7, 1, 10, 0));
  EXPECT_EQ(shown(read("2027-01-31 23:59:59 -03:30"), zone("America/St_Johns")), "2027-01-31 23:59:59 -03:30");
}

TEST(Calendar, berlin_daily_in_the_morning_stays_at_nine_on_both_change_days) {
  const sch_tminfo nine = daily(9, 0);
  EXPECT_EQ(next(nine, "2027-03-27 09:00 +01:00", "Europe/Berlin"), "2027-03-28 09:00:00 +02:00");
  EXPECT_EQ(next(nine, "2027-03-28 01:30 +01:00", "Europe/Berlin"), "2027-03-28 09:00:00 +02:00");
  EXPECT_EQ(next(nine, "2027-03-28 09:00 +02:00", "Europe/Berlin"), "2027-03-29 09:00:00 +02:00");
  EXPECT_EQ(next(nine, "2027-10-30 09:00 +02:00", "Europe/Berlin"), "2027-10-31 09:00:00 +01:00");
  EXPECT_EQ(next(nine, "2027-10-31 08:00 +01:00", "Europe/Berlin"), "2027-10-31 09:00:00 +01:00");
  EXPECT_EQ(next(nine, "2027-10-31 09:00 +01:00", "Europe/Berlin"), "2027-11-01 09:00:00 +01:00");
}

TEST(Calendar, berlin_daily_before_midnight_skips_no_sunday) {
  const sch_tminfo late = daily(23, 30);
  EXPECT_EQ(next(late, "2027-03-27 23:30 +01:00", "Europe/Berlin"), "2027-03-28 23:30:00 +02:00");
  EXPECT_EQ(next(late, "2027-10-30 23:30 +02:00", "Europe/Berlin"), "2027-10-31 23:30:00 +01:00");
  EXPECT_EQ(next(late, "2027-10-31 23:30 +01:00", "Europe/Berlin"), "2027-11-01 23:30:00 +01:00");
}

TEST(Calendar, berlin_time_that_is_leapt_over_runs_once_at_the_leaps_end) {
  EXPECT_EQ(next_two(daily(2, 30), "2027-03-27 02:30 +01:00", "Europe/Berlin"),
            "2027-03-28 03:00:00 +02:00, 2027-03-29 02:30:00 +02:00");
  EXPECT_EQ(next_two(weekly(sunday, 2, 0), "2027-03-27 12:00 +01:00", "Europe/Berlin"),
            "2027-03-28 03:00:00 +02:00, 2027-04-04 02:00:00 +02:00");
  EXPECT_EQ(next_two(monthly(28, 2, 59), "2027-03-01 12:00 +01:00", "Europe/Berlin"),
            "2027-03-28 03:00:00 +02:00, 2027-04-28 02:59:00 +02:00");
  EXPECT_EQ(next(once(2027, 3, 28, 2, 30), "2027-01-01 00:00 +01:00", "Europe/Berlin"), "2027-03-28 03:00:00 +02:00");
}

TEST(Calendar, berlin_time_that_comes_twice_runs_once_the_first_time) {
  const sch_tminfo half_past = daily(2, 30);
  EXPECT_EQ(next_two(half_past, "2027-10-30 02:30 +02:00", "Europe/Berlin"),
            "2027-10-31 02:30:00 +02:00, 2027-11-01 02:30:00 +01:00");
  EXPECT_EQ(next(half_past, "2027-10-31 02:15 +01:00", "Europe/Berlin"), "2027-11-01 02:30:00 +01:00");
  EXPECT_EQ(next(half_past, "2027-10-31 02:45 +02:00", "Europe/Berlin"), "2027-11-01 02:30:00 +01:00");
  EXPECT_EQ(next(once(2027, 10, 31, 2, 30), "2027-10-31 02:45 +02:00", "Europe/Berlin"), none);
  // The hour that comes twice ends at 03:00, which comes once.
  EXPECT_EQ(next(daily(3, 0), "2027-10-31 02:59 +02:00", "Europe/Berlin"), "2027-10-31 03:00:00 +01:00");
}

TEST(Calendar, berlin_one_shot_in_july_is_what_was_typed) {
  EXPECT_EQ(next(once(2027, 7, 1, 12, 0), "2027-01-15 12:00 +01:00", "Europe/Berlin"), "2027-07-01 12:00:00 +02:00");
  EXPECT_EQ(next(once(2027, 7, 1, 12, 0), "2027-07-01 12:00 +02:00", "Europe/Berlin"), none);
  EXPECT_EQ(next(once(2027, 7, 1, 12, 0), "2027-07-01 11:59:59 +02:00", "Europe/Berlin"), "2027-07-01 12:00:00 +02:00");
}

TEST(Calendar, a_one_shot_may_be_in_any_month_and_on_its_first_and_last_day) {
  EXPECT_EQ(next(once(2027, 1, 1, 0, 0), "2026-12-31 23:59 +00:00", "UTC"), "2027-01-01 00:00:00 +00:00");
  EXPECT_EQ(next(once(2027, 12, 31, 23, 59), "2027-01-01 00:00 +00:00", "UTC"), "2027-12-31 23:59:00 +00:00");
}

TEST(Calendar, berlin_last_days_of_months_are_clamped_in_every_month) {
  const char *expected[] = {"2027-01-31 01:00:00 +01:00", "2027-02-28 01:00:00 +01:00", "2027-03-31 01:00:00 +02:00",
                            "2027-04-30 01:00:00 +02:00", "2027-05-31 01:00:00 +02:00", "2027-06-30 01:00:00 +02:00",
                            "2027-07-31 01:00:00 +02:00", "2027-08-31 01:00:00 +02:00", "2027-09-30 01:00:00 +02:00",
                            "2027-10-31 01:00:00 +02:00", "2027-11-30 01:00:00 +01:00", "2027-12-31 01:00:00 +01:00"};
  std::string after = "2026-12-31 01:00:00 +01:00";
  for (const char *month : expected) {
    EXPECT_EQ(next(monthly(31, 1, 0), after, "Europe/Berlin"), month);
    after = month;
  }
  EXPECT_EQ(next(monthly(29, 1, 0), "2027-02-01 00:00 +01:00", "Europe/Berlin"), "2027-02-28 01:00:00 +01:00");
  EXPECT_EQ(next(monthly(29, 1, 0), "2028-02-28 01:00 +01:00", "Europe/Berlin"), "2028-02-29 01:00:00 +01:00");
  EXPECT_EQ(next(monthly(30, 1, 0), "2028-02-01 00:00 +01:00", "Europe/Berlin"), "2028-02-29 01:00:00 +01:00");
  EXPECT_EQ(next(monthly(30, 1, 0), "2028-02-29 01:00 +01:00", "Europe/Berlin"), "2028-03-30 01:00:00 +02:00");
}

TEST(Calendar, monthly_goes_over_the_turn_of_the_year) {
  EXPECT_EQ(next(monthly(5, 12, 0), "2027-12-05 12:00 +00:00", "UTC"), "2028-01-05 12:00:00 +00:00");
  EXPECT_EQ(next(monthly(31, 23, 59), "2027-12-31 23:58 +00:00", "UTC"), "2027-12-31 23:59:00 +00:00");
}

TEST(Calendar, weekly_counts_sunday_as_one_and_comes_a_week_later_at_its_very_minute) {
  EXPECT_EQ(next(weekly(sunday, 8, 0), "2027-05-01 12:00 +00:00", "UTC"), "2027-05-02 08:00:00 +00:00");
  EXPECT_EQ(next(weekly(monday, 8, 0), "2027-05-03 08:00 +00:00", "UTC"), "2027-05-10 08:00:00 +00:00");
  EXPECT_EQ(next(weekly(monday, 8, 0), "2027-05-03 07:59:59 +00:00", "UTC"), "2027-05-03 08:00:00 +00:00");
}

TEST(Calendar, lord_howe_leaps_by_half_an_hour) {
  EXPECT_EQ(next_two(daily(2, 10), "2027-10-02 12:00 +10:30", "Australia/Lord_Howe"),
            "2027-10-03 02:30:00 +11:00, 2027-10-04 02:10:00 +11:00");
  EXPECT_EQ(next_two(daily(1, 45), "2027-04-03 12:00 +11:00", "Australia/Lord_Howe"),
            "2027-04-04 01:45:00 +11:00, 2027-04-05 01:45:00 +10:30");
}

TEST(Calendar, kathmandu_is_a_quarter_off) {
  EXPECT_EQ(next(daily(0, 0), "2027-01-01 12:00 +05:45", "Asia/Kathmandu"), "2027-01-02 00:00:00 +05:45");
  EXPECT_EQ(next(daily(0, 5), "1985-12-31 12:00 +05:30", "Asia/Kathmandu"), "1986-01-01 00:15:00 +05:45");
}

TEST(Calendar, apia_leaps_over_a_whole_day) {
  EXPECT_EQ(next_two(daily(9, 0), "2011-12-29 09:00 -10:00", "Pacific/Apia"),
            "2011-12-31 00:00:00 +14:00, 2011-12-31 09:00:00 +14:00");
  EXPECT_EQ(next(weekly(friday, 9, 0), "2011-12-29 09:00 -10:00", "Pacific/Apia"), "2011-12-31 00:00:00 +14:00");
  EXPECT_EQ(next_two(monthly(30, 9, 0), "2011-12-01 09:00 -10:00", "Pacific/Apia"),
            "2011-12-31 00:00:00 +14:00, 2012-01-30 09:00:00 +14:00");
  // Midnight of the day that was not is the same moment as midnight of the next: it runs once.
  EXPECT_EQ(next_two(daily(0, 0), "2011-12-29 12:00 -10:00", "Pacific/Apia"),
            "2011-12-31 00:00:00 +14:00, 2012-01-01 00:00:00 +14:00");
}

TEST(Calendar, gaza_changes_around_ramadan) {
  EXPECT_EQ(next(daily(2, 30), "2026-03-27 12:00 +02:00", "Asia/Gaza"), "2026-03-28 03:00:00 +03:00");
  EXPECT_EQ(next_two(daily(1, 30), "2026-10-23 12:00 +03:00", "Asia/Gaza"),
            "2026-10-24 01:30:00 +03:00, 2026-10-25 01:30:00 +02:00");
}

TEST(Calendar, casablanca_takes_an_hour_off_for_a_month) {
  EXPECT_EQ(next_two(daily(2, 30), "2027-02-06 12:00 +01:00", "Africa/Casablanca"),
            "2027-02-07 02:30:00 +01:00, 2027-02-08 02:30:00 +00:00");
  EXPECT_EQ(next_two(daily(2, 30), "2027-03-13 12:00 +00:00", "Africa/Casablanca"),
            "2027-03-14 03:00:00 +01:00, 2027-03-15 02:30:00 +01:00");
}

TEST(Calendar, santiago_and_auckland_have_their_summer_in_january) {
  EXPECT_EQ(next(daily(0, 30), "2027-09-04 12:00 -04:00", "America/Santiago"), "2027-09-05 01:00:00 -03:00");
  EXPECT_EQ(next(daily(2, 30), "2027-09-25 12:00 +12:00", "Pacific/Auckland"), "2027-09-26 03:00:00 +13:00");
  EXPECT_EQ(next(daily(2, 30), "2027-04-04 02:45 +13:00", "Pacific/Auckland"), "2027-04-05 02:30:00 +12:00");
}

TEST(Calendar, periodic_counts_elapsed_time_over_a_change) {
  const time_t start = read("2027-03-27 12:00 +01:00");
  EXPECT_EQ(next(every(1, 0, 0, start), "2027-03-27 12:00 +01:00", "Europe/Berlin"), "2027-03-28 13:00:00 +02:00");
  EXPECT_EQ(next(every(0, 1, 0, start), "2027-03-28 01:00 +01:00", "Europe/Berlin"), "2027-03-28 03:00:00 +02:00");
  EXPECT_EQ(next(every(0, 0, 30, start), "2027-03-27 11:00 +01:00", "Europe/Berlin"), "2027-03-27 12:00:00 +01:00");
}

TEST(Calendar, periodic_stays_on_the_slots_of_its_start_or_of_its_last_run) {
  const time_t start = utc(2027, 1, 1, 0, 0, 7);
  EXPECT_EQ(next(every(0, 0, 10, start), "2027-01-01 05:03 +00:00", "UTC"), "2027-01-01 05:10:07 +00:00");
  EXPECT_EQ(next(every(0, 0, 10, start), "2027-01-01 05:10:07 +00:00", "UTC"), "2027-01-01 05:20:07 +00:00");
  const auto last = static_cast<uint32_t>(utc(2027, 1, 1, 4, 55));
  EXPECT_EQ(next(every(0, 0, 10, start, last), "2027-01-01 05:03 +00:00", "UTC"), "2027-01-01 05:05:00 +00:00");
  EXPECT_EQ(next(every(0, 0, 10, start, last), "2027-01-01 01:00 +00:00", "UTC"), "2027-01-01 05:05:00 +00:00");
}

TEST(Calendar, what_was_taken_by_the_wall_clock_is_not_due_again_in_another_zone_or_after_a_step) {
  const WallTime noon = {utc(2027, 5, 1, 12, 0)};
  EXPECT_EQ(next(daily(12, 0), "2027-05-01 05:00 +02:00", "Europe/Berlin", noon), "2027-05-02 12:00:00 +02:00");
  EXPECT_EQ(next(daily(12, 1), "2027-05-01 05:00 +02:00", "Europe/Berlin", noon), "2027-05-01 12:01:00 +02:00");
  EXPECT_EQ(next(once(2027, 5, 1, 12, 0), "2027-05-01 05:00 +02:00", "Europe/Berlin", noon), none);
  EXPECT_EQ(next(weekly(1 + 6, 12, 0), "2027-05-01 05:00 +02:00", "Europe/Berlin", noon), "2027-05-08 12:00:00 +02:00");
  EXPECT_EQ(next(monthly(1, 12, 0), "2027-05-01 05:00 +02:00", "Europe/Berlin", noon), "2027-06-01 12:00:00 +02:00");
}

TEST(Calendar, due_times_end_with_the_unsigned_seconds) {
  EXPECT_EQ(next(daily(6, 28), "2106-02-06 12:00 +00:00", "UTC"), "2106-02-07 06:28:00 +00:00");
  EXPECT_EQ(next(daily(6, 29), "2106-02-06 12:00 +00:00", "UTC"), none);
  EXPECT_EQ(next(daily(6, 28), "2106-02-07 06:28 +00:00", "UTC"), none);
  EXPECT_EQ(next(weekly(monday, 6, 28), "2106-02-05 12:00 +00:00", "UTC"), none);
  EXPECT_EQ(next(monthly(8, 6, 28), "2106-01-20 12:00 +00:00", "UTC"), none);
  EXPECT_EQ(next(once(2106, 2, 7, 6, 29), "2027-01-01 00:00 +00:00", "UTC"), none);
  EXPECT_EQ(next(every(30, 0, 0, 0, static_cast<uint32_t>(utc(2106, 1, 9, 0, 0))), "2106-02-01 00:00 +00:00", "UTC"),
            none);
  EXPECT_EQ(next(daily(0, 0), "2200-01-01 00:00 +00:00", "UTC"), none);
}

// They would be a day that there is if a part of the number were taken for it.
TEST(Calendar, a_date_whose_numbers_have_more_bits_than_a_date_has_is_never_due) {
  const std::string now = "2027-01-01 00:00 +00:00";
  EXPECT_EQ(next(once(2027 + 65536, 5, 1, 0, 0), now, "UTC"), none);
  EXPECT_EQ(next(once(2027, 5 + 256, 1, 0, 0), now, "UTC"), none);
  EXPECT_EQ(next(once(2027, 5, 1 + 256, 0, 0), now, "UTC"), none);
}

TEST(Calendar, due_times_begin_with_the_second_after_the_epoch_and_end_with_the_last) {
  EXPECT_EQ(next(every(0, 1, 0, 0), "1969-12-31 23:59:59 +00:00", "UTC"), none);
  EXPECT_EQ(next(every(0, 1, 0, 1), "1970-01-01 00:00 +00:00", "UTC"), "1970-01-01 00:00:01 +00:00");
  const uint32_t last = UINT32_MAX - 600;
  EXPECT_EQ(next(every(0, 0, 10, 0, last), "2106-02-07 06:20 +00:00", "UTC"), "2106-02-07 06:28:15 +00:00");
  EXPECT_EQ(next(every(0, 0, 10, 0, last + 1), "2106-02-07 06:20 +00:00", "UTC"), none);
}

TEST(Calendar, works_at_the_epoch_and_beyond_the_signed_seconds) {
  EXPECT_EQ(next(daily(0, 0), "1970-01-01 00:00 +00:00", "UTC"), "1970-01-02 00:00:00 +00:00");
  EXPECT_EQ(next(daily(19, 0), "1970-01-01 00:00 +00:00", "America/New_York"), "1970-01-01 19:00:00 -05:00");
  EXPECT_EQ(next(daily(3, 14), "2038-01-19 03:14 +00:00", "UTC"), "2038-01-20 03:14:00 +00:00");
  EXPECT_EQ(next(daily(2, 30), "2105-03-28 02:30 +01:00", "Europe/Berlin"), "2105-03-29 03:00:00 +02:00");
  EXPECT_EQ(next(monthly(29, 0, 0), "2100-02-01 00:00 +00:00", "UTC"), "2100-02-28 00:00:00 +00:00");
  const auto last = static_cast<uint32_t>(utc(2105, 6, 1, 0, 0));
  EXPECT_EQ(next(every(0, 1, 0, utc(2037, 1, 1, 0, 0), last), "2105-06-01 00:00 +00:00", "UTC"),
            "2105-06-01 01:00:00 +00:00");
}

TEST(Calendar, a_record_without_a_time_or_with_fields_out_of_range_is_never_due) {
  const std::string now = "2027-01-01 00:00 +00:00";
  EXPECT_EQ(next({}, now, "UTC"), none);
  EXPECT_EQ(next(at(2, 1, 1), now, "UTC"), none);
  EXPECT_EQ(next(at(6, 1, 1), now, "UTC"), none);
  EXPECT_EQ(next(at(8, 1, 1), now, "UTC"), none);
  EXPECT_EQ(next(daily(24, 0), now, "UTC"), none);
  EXPECT_EQ(next(daily(-1, 0), now, "UTC"), none);
  EXPECT_EQ(next(daily(0, 60), now, "UTC"), none);
  EXPECT_EQ(next(weekly(0, 0, 0), now, "UTC"), none);
  EXPECT_EQ(next(weekly(8, 0, 0), now, "UTC"), none);
  EXPECT_EQ(next(monthly(0, 0, 0), now, "UTC"), none);
  EXPECT_EQ(next(monthly(32, 0, 0), now, "UTC"), none);
  EXPECT_EQ(next(daily(0, -1), now, "UTC"), none);
  EXPECT_EQ(next(once(2027, 4, 31, 0, 0), now, "UTC"), none);
  EXPECT_EQ(next(once(2027, 5, 0, 0, 0), now, "UTC"), none);
  EXPECT_EQ(next(once(2027, 0, 1, 0, 0), now, "UTC"), none);
  EXPECT_EQ(next(once(2027, 13, 1, 0, 0), now, "UTC"), none);
  EXPECT_EQ(next(once(2100, 2, 29, 0, 0), now, "UTC"), none);
  EXPECT_EQ(next(every(0, 0, 0, 0), now, "UTC"), none);
  EXPECT_EQ(next(every(-1, 0, 0, 0), now, "UTC"), none);
}

}  // namespace
}  // namespace calendar_test
