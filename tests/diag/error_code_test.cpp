// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/platform/platform.h"

using namespace platform_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class ErrorCode : public PlatformTest {};

TEST_F(ErrorCode, parts_are_traced_with_the_facility_times_eight) {
  const struct {
    uint32_t error;
    const char *expected;
  } rows[] = {
      {0x40480003, "Syserr - type:1 facility:576 number:3"},
      {0, "Syserr - type:0 facility:0 number:0"},
      {0xffffffff, "Syserr - type:3 facility:32760 number:4095"},
      {0x80480011, "Syserr - type:2 facility:576 number:17"},
      {0x3000f000, "Syserr - type:0 facility:0 number:0"},  // bits that belong to none of the three
      {0x00010001, "Syserr - type:0 facility:8 number:1"},
      {0x0fff0000, "Syserr - type:0 facility:32760 number:0"},
      {0x40bd0fff, "Syserr - type:1 facility:1512 number:4095"},
  };
  for (const auto &row : rows) {
    fake.reset();
    sch_syserr_log(100, row.error);
    EXPECT_THAT(fake.traces(100), ElementsAre(row.expected));
    EXPECT_THAT(fake.buginf, ElementsAre(row.expected));
    EXPECT_THAT(fake.buginf_formats, ElementsAre("Syserr - type:%d facility:%d number:%d"));
  }
}

TEST_F(ErrorCode, standard_error_takes_it_when_the_debug_level_exceeds_the_trace_level) {
  const struct {
    int32_t debug_level;
    int level;
    bool shown;
  } rows[] = {{0, 0, false}, {1, 0, true}, {100, 100, false}, {101, 100, true}, {103, 103, false}, {104, 103, true}};
  for (const auto &row : rows) {
    debug_level = row.debug_level;
    const Output output = capture([&] { sch_syserr_log(row.level, 0x40480003); });
    EXPECT_EQ(output.err, row.shown ? "Syserr - type:1 facility:576 number:3\n" : "") << row.debug_level;
    EXPECT_EQ(output.out, "");
  }
}

TEST_F(ErrorCode, level_zero_reaches_buginf_without_asking) {
  fake.record_traces = true;
  fake.buginf_allowed = false;
  sch_syserr_log(0, 1);
  EXPECT_THAT(fake.buginf, ElementsAre("Syserr - type:0 facility:0 number:1"));
  EXPECT_THAT(fake.calls_with("sdwrap_chk_int"), IsEmpty());
}

TEST_F(ErrorCode, closed_sinks_take_nothing) {
  fake.history_allowed = fake.buginf_allowed = false;
  EXPECT_EQ(sch_syserr_log(100, 1), 0);
  EXPECT_THAT(fake.history, IsEmpty());
  EXPECT_THAT(fake.buginf, IsEmpty());
}

TEST_F(ErrorCode, result_is_that_of_the_last_debug_call) {
  fake.buginf_result = 37;
  EXPECT_EQ(sch_syserr_log(100, 1), 37);
  EXPECT_EQ(sch_syserr_log(0, 1), 37);
  fake.buginf_allowed = false;
  EXPECT_EQ(sch_syserr_log(100, 1), 0);
}

}  // namespace
