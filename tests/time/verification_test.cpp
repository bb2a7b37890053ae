// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <climits>

#include "tests/platform/platform.h"
#include "tests/time/moments.h"

namespace {

using namespace platform_test;
using namespace time_test;

constexpr int invalid = SCH_ERR_INVALID_TIME;
constexpr int in_past = SCH_ERR_TIME_IN_PAST;

class Verification : public platform_test::PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    fake.now = moment("2026-06-15 11:00:00 UTC");
  }
};

TEST(TimeErrors, have_the_values_that_the_service_knows) {
  EXPECT_EQ(static_cast<uint32_t>(SCH_ERR_TIME_IN_PAST), 0xbf42fff2);
  EXPECT_EQ(static_cast<uint32_t>(SCH_ERR_INVALID_TIME), 0xbf42fff3);
  EXPECT_EQ(static_cast<uint32_t>(SCH_ERR_BAD_TIME_FORMAT), 0xbf42fff5);
}

TEST_F(Verification, day_is_clamped_to_the_month) {
  struct {
    int year, month, day, clamped;
  } rows[] = {
      {126, 0, 31, 31},       {126, 1, 28, 28},  {126, 1, 29, 28},  {126, 1, 31, 28},
      {128, 1, 28, 28},       {128, 1, 29, 29},  {128, 1, 30, 29},  {128, 1, 31, 29},
      {126, 2, 31, 31},       {126, 3, 30, 30},  {126, 3, 31, 30},  {126, 4, 31, 31},
      {126, 5, 31, 30},       {126, 5, 29, 29},  {126, 6, 31, 31},  {126, 7, 31, 31},
      {126, 8, 31, 30},       {126, 9, 31, 31},  {126, 10, 31, 30}, {126, 10, 30, 30},
      {126, 11, 31, 31},      {126, 12, 31, 31}, {126, -1, 31, 31}, {126, 13, 99, 99},
      {126, 3, 99, 30},       {126, 1, 99, 28},  {126, 0, 99, 99},  {126, 3, -5, -5},
      {126, 1, 0, 0},         {200, 1, 29, 29},  // 2100, a leap year by the rule of four
      {0, 1, 29, 29},         {-4, 1, 31, 29},   {-3, 1, 31, 28},   {126, INT_MIN, 31, 31},
      {126, INT_MAX, 31, 31},
  };
  for (const auto &row : rows)
    EXPECT_EQ(normalize_day_of_month(row.year, row.month, row.day), row.clamped)
        << row.year << " " << row.month << " " << row.day;
}

TEST_F(Verification, time_of_day_is_checked_at_both_ends) {
  struct {
    int hour, minute, result;
  } rows[] = {{0, 0, 0},        {23, 59, 0},      {-1, 0, invalid},      {24, 0, invalid},
              {0, -1, invalid}, {0, 60, invalid}, {INT_MIN, 0, invalid}, {0, INT_MAX, invalid}};
  for (const auto &row : rows) {
    const sch_tminfo records[] = {daily(row.hour, row.minute), weekly(1, row.hour, row.minute),
                                  monthly(1, row.hour, row.minute), oneshot(2030, 1, 1, row.hour, row.minute)};
    for (const sch_tminfo &record : records)
      EXPECT_EQ(sch_verify_tminfo(&record), row.result) << record;
  }
}

TEST_F(Verification, day_is_checked_by_type) {
  struct {
    sch_tminfo record;
    int result;
  } rows[] = {
      {weekly(0, 1, 1), invalid},   {weekly(1, 1, 1), 0},         {weekly(7, 1, 1), 0},  {weekly(8, 1, 1), invalid},
      {weekly(-1, 1, 1), invalid},  {monthly(0, 1, 1), invalid},  {monthly(1, 1, 1), 0}, {monthly(31, 1, 1), 0},
      {monthly(32, 1, 1), invalid}, {monthly(-1, 1, 1), invalid},
  };
  for (const auto &row : rows)
    EXPECT_EQ(sch_verify_tminfo(&row.record), row.result) << row.record;
}

TEST_F(Verification, oneshot_date_must_exist) {
  struct {
    int year, month, day, result;
  } rows[] = {
      {2027, 1, 1, 0},       {2027, 12, 31, 0},      {2027, 0, 1, invalid}, {2027, 13, 1, invalid},
      {2027, 1, 0, invalid}, {2027, 1, 32, invalid}, {2027, 2, 28, 0},      {2027, 2, 29, invalid},
      {2028, 2, 29, 0},      {2028, 2, 30, invalid}, {2027, 4, 30, 0},      {2027, 4, 31, invalid},
      {1899, 1, 1, invalid}, {1900, 1, 1, in_past},
  };
  for (const auto &row : rows) {
    const sch_tminfo record = oneshot(row.year, row.month, row.day, 10, 0);
    EXPECT_EQ(sch_verify_tminfo(&record), row.result) << record;
  }
}

TEST_F(Verification, oneshot_now_passes_and_a_second_later_is_past) {
  const sch_tminfo record = oneshot(2026, 6, 15, 11, 0);
  EXPECT_EQ(sch_verify_tminfo(&record), 0);
  fake.now += 1;
  EXPECT_EQ(sch_verify_tminfo(&record), in_past);
  fake.now -= 2;
  EXPECT_EQ(sch_verify_tminfo(&record), 0);
}

TEST_F(Verification, an_invalid_oneshot_is_not_called_past) {
  const sch_tminfo record = oneshot(2020, 2, 30, 10, 0);
  EXPECT_EQ(sch_verify_tminfo(&record), invalid);
}

TEST_F(Verification, oneshot_reads_the_hour_as_standard_time) {
  set_zone("Europe/Berlin");
  fake.now = moment("2026-07-01 10:59:00 CEST");
  const sch_tminfo record = oneshot(2026, 7, 1, 10, 0);  // 10:00 CET is 11:00 CEST
  EXPECT_EQ(sch_verify_tminfo(&record), 0);
  fake.now = moment("2026-07-01 11:00:01 CEST");
  EXPECT_EQ(sch_verify_tminfo(&record), in_past);
}

TEST_F(Verification, periodic_checks_its_start_alone) {
  const struct {
    sch_tminfo record;
    int result;
  } rows[] = {
      {periodic(0, 0, 0, fake.now), 0},
      {periodic(0, 0, 0, fake.now + 1), 0},
      {periodic(0, 0, 0, fake.now - 1), in_past},
      {periodic(-99, 99, 99, fake.now), 0},
  };
  for (const auto &row : rows)
    EXPECT_EQ(sch_verify_tminfo(&row.record), row.result) << row.record;
}

TEST_F(Verification, every_other_type_is_accepted) {
  for (uint32_t type : {0u, 2u, 6u, 8u, 9u, 0x7fffffffu, 0xffffffffu}) {
    sch_tminfo record = daily(99, 99);
    record.type = type;
    EXPECT_EQ(sch_verify_tminfo(&record), 0) << type;
  }
}

}  // namespace
