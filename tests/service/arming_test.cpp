// SPDX-License-Identifier: Apache-2.0
// What the service arms in the zone that it lives in: offset changes, another zone, a clock that is set.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/calendar/service_zone.h"
#include "service/run/due.h"
#include "service/state/tables.h"
#include "tests/service/calendar_records.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using calendar_test::read;
using calendar_test::shown;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct Arming : ::testing::Test {
  World world;
  Arming() { live_in("Europe/Berlin"); }
  ~Arming() override { live_in("UTC"); }

  static void live_in(const std::string &zone) { ASSERT_TRUE(service::set_service_zone(zone).ok()); }

  uint32_t configure_at(const std::string &now, const sch_tminfo &time) {
    set_clock(read(now));
    const uint32_t status = create_job(world, "job", "echo ran\n");
    return status != 0 ? status : create_schedule(world, "s", {"job"}, time);
  }

  static sch_schedule_entry &entry() { return *service::find_schedule("s"); }

  static std::string due() {
    const uint32_t next = service::state_of(*entry().rec).next_due;
    return next == 0 ? "none" : shown(next, service::service_zone());
  }

  void pass_to(const std::string &now) { due_now(world, read(now)); }
};

TEST_F(Arming, a_time_that_comes_twice_is_taken_once) {
  ASSERT_EQ(configure_at("2027-10-31 00:00 +02:00", calendar_test::daily(2, 30)), 0u);
  EXPECT_EQ(due(), "2027-10-31 02:30:00 +02:00");
  pass_to("2027-10-31 02:30 +02:00");
  EXPECT_EQ(due(), "2027-11-01 02:30:00 +01:00");
  pass_to("2027-10-31 02:30 +01:00");
  EXPECT_THAT(log_of(world), SizeIs(1));
}

TEST_F(Arming, a_time_that_is_leapt_over_is_taken_at_the_leaps_end_and_not_again) {
  ASSERT_EQ(configure_at("2027-03-28 00:00 +01:00", calendar_test::daily(2, 30)), 0u);
  pass_to("2027-03-28 01:59:59 +01:00");
  EXPECT_THAT(log_of(world), IsEmpty());
  pass_to("2027-03-28 03:00 +02:00");
  EXPECT_EQ(due(), "2027-03-29 02:30:00 +02:00");
  pass_to("2027-03-28 03:30 +02:00");
  EXPECT_THAT(log_of(world), SizeIs(1));
}

TEST_F(Arming, what_has_passed_by_the_wall_clock_in_summer_is_refused) {
  EXPECT_EQ(configure_at("2027-07-01 12:00:01 +02:00", calendar_test::once(2027, 7, 1, 12, 0)),
            SCH_STATUS_TIME_IN_PAST);
  EXPECT_EQ(create_schedule(world, "past", {}, calendar_test::once(2027, 7, 1, 11, 2)), SCH_STATUS_TIME_IN_PAST);
}

TEST_F(Arming, one_shot_for_this_very_second_runs) {
  ASSERT_EQ(configure_at("2027-07-01 12:00 +02:00", calendar_test::once(2027, 7, 1, 12, 0)), 0u);
  EXPECT_EQ(due(), "2027-07-01 12:00:00 +02:00");
}

TEST_F(Arming, one_shot_typed_in_winter_for_summer_runs_at_the_time_typed) {
  ASSERT_EQ(configure_at("2027-01-15 12:00 +01:00", calendar_test::once(2027, 7, 1, 12, 0)), 0u);
  EXPECT_EQ(due(), "2027-07-01 12:00:00 +02:00");
}

// The shell, in its fixed zone of today, makes a moment of the start.
TEST_F(Arming, start_typed_in_winter_for_summer_is_the_time_typed) {
  const time_t sent = read("2027-07-01 12:00 +01:00");
  ASSERT_EQ(configure_at("2027-01-15 12:00 +01:00", calendar_test::every(0, 1, 0, sent)), 0u);
  EXPECT_EQ(due(), "2027-07-01 12:00:00 +02:00");
}

TEST_F(Arming, start_that_has_passed_by_the_wall_clock_is_refused) {
  const time_t sent = read("2027-07-01 11:59 +02:00");
  EXPECT_EQ(configure_at("2027-07-01 12:00 +02:00", calendar_test::every(0, 1, 0, sent)), SCH_STATUS_TIME_IN_PAST);
}

TEST_F(Arming, start_two_minutes_from_now_is_accepted_in_the_second_round_of_an_hour) {
  const time_t sent = read("2027-10-31 02:32 +01:00");
  ASSERT_EQ(configure_at("2027-10-31 02:30 +01:00", calendar_test::every(0, 1, 0, sent)), 0u);
  EXPECT_EQ(due(), "2027-10-31 02:32:00 +01:00");
}

TEST_F(Arming, another_zone_moves_what_is_ahead_and_does_not_take_the_same_hour_of_a_day_again) {
  live_in("Asia/Tokyo");
  ASSERT_EQ(configure_at("2027-05-01 11:00 +09:00", calendar_test::daily(12, 0)), 0u);
  pass_to("2027-05-01 12:00 +09:00");
  EXPECT_EQ(due(), "2027-05-02 12:00:00 +09:00");
  live_in("Europe/Berlin");
  world.parts->scheduler.zone_changed();
  EXPECT_EQ(due(), "2027-05-02 12:00:00 +02:00");
  live_in("America/New_York");
  world.parts->scheduler.zone_changed();
  EXPECT_EQ(due(), "2027-05-02 12:00:00 -04:00");
  live_in("Asia/Tokyo");
  world.parts->scheduler.zone_changed();
  EXPECT_EQ(due(), "2027-05-02 12:00:00 +09:00");
}

TEST_F(Arming, another_zone_while_the_service_was_down_is_followed_at_the_start) {
  live_in("Asia/Tokyo");
  ASSERT_EQ(configure_at("2027-05-01 11:00 +09:00", calendar_test::daily(12, 0)), 0u);
  pass_to("2027-05-01 12:00 +09:00");
  live_in("Europe/Berlin");
  world.restart();
  EXPECT_EQ(due(), "2027-05-02 12:00:00 +02:00");
}

TEST_F(Arming, one_shot_that_another_zone_puts_into_the_past_is_told_as_missed) {
  ASSERT_EQ(configure_at("2027-05-01 11:00 +02:00", calendar_test::once(2027, 5, 1, 12, 0)), 0u);
  live_in("Asia/Tokyo");
  world.parts->scheduler.zone_changed();
  world.run_to_the_end();
  const std::vector<Logged> log = log_of(world);
  ASSERT_THAT(log, SizeIs(1));
  EXPECT_THAT(log[0].output, ::testing::HasSubstr("missed"));
  EXPECT_EQ(due(), "none");
}

TEST_F(Arming, periodic_is_not_moved_by_another_zone) {
  const time_t start = read("2027-05-01 12:00 +02:00");
  ASSERT_EQ(configure_at("2027-05-01 11:00 +02:00", calendar_test::every(0, 1, 0, start)), 0u);
  live_in("Asia/Tokyo");
  world.parts->scheduler.zone_changed();
  EXPECT_EQ(due(), "2027-05-01 19:00:00 +09:00");
}

TEST_F(Arming, a_small_step_back_takes_no_time_of_the_wall_clock_again_after_a_new_zone_file) {
  ASSERT_EQ(configure_at("2027-05-01 11:00 +02:00", calendar_test::daily(12, 0)), 0u);
  pass_to("2027-05-01 12:00 +02:00");
  set_clock(read("2027-05-01 11:30 +02:00"));
  service::arm_in_zone(entry(), read("2027-05-01 11:30 +02:00"));
  EXPECT_EQ(due(), "2027-05-02 12:00:00 +02:00");
}

TEST_F(Arming, a_clock_that_had_been_wrong_forgets_what_was_taken_by_it) {
  ASSERT_EQ(configure_at("2027-05-01 11:00 +02:00", calendar_test::daily(12, 0)), 0u);
  pass_to("2027-05-01 12:00 +02:00");
  service::arm_anew(entry(), read("2026-05-01 11:00 +02:00"));
  EXPECT_EQ(due(), "2026-05-01 12:00:00 +02:00");
}

TEST_F(Arming, a_small_step_back_lets_periodic_go_on_and_keeps_its_slots) {
  ASSERT_EQ(configure_at("2027-05-01 11:59 +02:00", calendar_test::every(0, 0, 1, read("2027-05-01 12:00 +02:00"))),
            0u);
  pass_to("2027-05-01 12:00 +02:00");
  pass_to("2027-05-01 12:01 +02:00");
  service::arm_after_step(entry(), -2 * 3600 - 10, read("2027-05-01 10:00:50 +02:00"));
  EXPECT_EQ(due(), "2027-05-01 10:02:00 +02:00");
  pass_to("2027-05-01 10:02 +02:00");
  EXPECT_EQ(due(), "2027-05-01 10:03:00 +02:00");
  EXPECT_THAT(log_of(world), SizeIs(3));
}

TEST_F(Arming, a_small_step_back_does_not_move_a_start_that_is_ahead) {
  ASSERT_EQ(configure_at("2027-05-01 11:59 +02:00", calendar_test::every(0, 0, 1, read("2027-05-01 12:00 +02:00"))),
            0u);
  service::arm_after_step(entry(), -3600, read("2027-05-01 10:59 +02:00"));
  EXPECT_EQ(due(), "2027-05-01 12:00:00 +02:00");
}

TEST_F(Arming, a_time_set_anew_is_not_bound_by_what_the_former_one_took) {
  ASSERT_EQ(configure_at("2027-05-01 11:00 +02:00", calendar_test::daily(12, 0)), 0u);
  pass_to("2027-05-01 12:00 +02:00");
  set_clock(read("2027-05-01 11:30 +02:00"));
  ASSERT_EQ(
      world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_MODIFY_SCHEDULE, time_payload("s", calendar_test::daily(11, 45)))
          .status,
      0u);
  EXPECT_EQ(due(), "2027-05-01 11:45:00 +02:00");
}

}  // namespace
}  // namespace service_test
