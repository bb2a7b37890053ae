// SPDX-License-Identifier: Apache-2.0
#include "shell/zone.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace shell {
namespace {

TEST(FixedZone, is_written_as_posix_has_it) {
  EXPECT_EQ(fixed_zone(7200), "<+0200>-2:00:00");
  EXPECT_EQ(fixed_zone(0), "<+0000>-0:00:00");
  EXPECT_EQ(fixed_zone(-12600), "<-0330>+3:30:00");
  EXPECT_EQ(fixed_zone(50400), "<+1400>-14:00:00");
}

TEST(FixedZone, is_read_by_the_c_library_with_the_same_offset_all_year) {
  for (const int32_t offset : {0, 3600, -3600, 20700, -12600, 50400, -39600, 45900, -1172}) {
    setenv("TZ", fixed_zone(offset).c_str(), 1);
    tzset();
    for (const time_t moment : {time_t{1799755200}, time_t{1814400000}}) {
      tm calendar = {};
      localtime_r(&moment, &calendar);
      EXPECT_EQ(calendar.tm_gmtoff, offset);
      EXPECT_EQ(calendar.tm_isdst, 0);
    }
  }
}

}  // namespace
}  // namespace shell
