// SPDX-License-Identifier: Apache-2.0
// Moments between the shell's fixed zone and the service's real one.
#include "service/request/shell_time.h"

#include <gtest/gtest.h>

#include "tests/service/calendar_records.h"

namespace calendar_test {
namespace {

// What a shell prints in its fixed zone of `now`.
std::string printed(const std::string &moment, const std::string &now, const std::string &zone_name) {
  const service::Zone in = zone(zone_name);
  const int32_t sent = service::time_for_shell(static_cast<uint32_t>(read(moment)), in, read(now));
  return shown(static_cast<uint32_t>(sent) + in.offset_at(read(now)), service::Zone()).substr(0, 19);
}

// What becomes of a start that a shell computed from these digits in its fixed zone of `now`.
std::string taken_in(const std::string &typed, const std::string &now, const std::string &zone_name) {
  const service::Zone in = zone(zone_name);
  sch_tminfo time = every(0, 1, 0, read(typed + " +00:00") - in.offset_at(read(now)));
  const uint32_t status = service::take_in_time(&time, in, read(now));
  return status != 0 ? "status " + std::to_string(status & 0xff) : shown(time.start_time, in);
}

TEST(ShellTime, what_is_shown_is_the_wall_clock_of_that_moment) {
  EXPECT_EQ(printed("2027-07-01 12:00 +02:00", "2027-01-15 08:00 +01:00", "Europe/Berlin"), "2027-07-01 12:00:00");
  EXPECT_EQ(printed("2027-01-15 12:00 +01:00", "2027-07-01 08:00 +02:00", "Europe/Berlin"), "2027-01-15 12:00:00");
  EXPECT_EQ(printed("2027-10-31 02:30 +02:00", "2027-10-31 09:00 +01:00", "Europe/Berlin"), "2027-10-31 02:30:00");
  EXPECT_EQ(printed("2027-10-31 02:30 +01:00", "2027-10-30 09:00 +02:00", "Europe/Berlin"), "2027-10-31 02:30:00");
  EXPECT_EQ(printed("2011-12-31 00:00 +14:00", "2011-12-29 23:00 -10:00", "Pacific/Apia"), "2011-12-31 00:00:00");
}

TEST(ShellTime, never_stays_never_and_the_ends_of_the_range_stay_inside) {
  const service::Zone in = zone("Europe/Berlin");
  EXPECT_EQ(service::time_for_shell(0, in, read("2027-07-01 12:00 +02:00")), 0);
  EXPECT_EQ(service::time_for_shell(1, in, read("2027-07-01 12:00 +02:00")), 1);
  EXPECT_EQ(static_cast<uint32_t>(service::time_for_shell(UINT32_MAX, in, read("2027-01-01 12:00 +01:00"))),
            UINT32_MAX);
}

TEST(ShellTime, a_start_is_what_was_typed_on_that_date) {
  EXPECT_EQ(taken_in("2027-07-01 12:00", "2027-01-15 08:00 +01:00", "Europe/Berlin"), "2027-07-01 12:00:00 +02:00");
  EXPECT_EQ(taken_in("2028-01-01 12:00", "2027-07-01 08:00 +02:00", "Europe/Berlin"), "2028-01-01 12:00:00 +01:00");
  EXPECT_EQ(taken_in("2027-03-28 02:30", "2027-03-28 01:00 +01:00", "Europe/Berlin"), "2027-03-28 03:00:00 +02:00");
}

TEST(ShellTime, a_start_that_comes_twice_is_the_first_one_unless_that_has_passed) {
  EXPECT_EQ(taken_in("2027-10-31 02:30", "2027-07-01 08:00 +02:00", "Europe/Berlin"), "2027-10-31 02:30:00 +02:00");
  EXPECT_EQ(taken_in("2027-10-31 02:30", "2027-01-15 08:00 +01:00", "Europe/Berlin"), "2027-10-31 02:30:00 +02:00");
  EXPECT_EQ(taken_in("2027-10-31 02:30", "2027-10-31 02:29 +01:00", "Europe/Berlin"), "2027-10-31 02:30:00 +01:00");
}

TEST(ShellTime, what_has_passed_by_the_wall_clock_is_refused_to_the_second) {
  const std::string past = "status " + std::to_string(SCH_STATUS_TIME_IN_PAST & 0xff);
  EXPECT_EQ(taken_in("2027-07-01 12:00:00", "2027-07-01 12:00:01 +02:00", "Europe/Berlin"), past);
  EXPECT_EQ(taken_in("2027-07-01 12:00:00", "2027-07-01 12:00:00 +02:00", "Europe/Berlin"),
            "2027-07-01 12:00:00 +02:00");
  EXPECT_EQ(taken_in("2027-07-01 12:00:00", "2027-07-01 12:58:00 +02:00", "Europe/Berlin"), past);
}

uint32_t once_at(const sch_tminfo &typed, const std::string &now) {
  sch_tminfo time = typed;
  return service::take_in_time(&time, zone("Europe/Berlin"), read(now));
}

TEST(ShellTime, one_shot_times_pass_or_are_refused_by_the_wall_clock) {
  EXPECT_EQ(once_at(once(2027, 7, 1, 12, 0), "2027-07-01 12:00 +02:00"), 0u);
  EXPECT_EQ(once_at(once(2027, 7, 1, 12, 0), "2027-07-01 12:00:01 +02:00"), SCH_STATUS_TIME_IN_PAST);
  EXPECT_EQ(once_at(once(2027, 7, 1, 12, 0), "2027-07-01 12:58 +02:00"), SCH_STATUS_TIME_IN_PAST);
  EXPECT_EQ(once_at(once(2027, 1, 1, 12, 0), "2027-01-01 11:59 +01:00"), 0u);
  EXPECT_EQ(once_at(once(2107, 1, 1, 12, 0), "2027-01-01 11:59 +01:00"), SCH_STATUS_TIME_OUT_OF_RANGE);
}

}  // namespace
}  // namespace calendar_test
