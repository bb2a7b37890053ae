// SPDX-License-Identifier: Apache-2.0
#include "shell/zone.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "host/status.h"
#include "tests/shell/recorder.h"

namespace {
constexpr time_t winter = 1799755200, summer = 1814400000;
time_t clock_now = winter;
}  // namespace

extern "C" time_t time(time_t *result) noexcept {
  if (result != nullptr) *result = clock_now;
  return clock_now;
}

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
    for (const time_t moment : {winter, summer}) {
      tm calendar = {};
      localtime_r(&moment, &calendar);
      EXPECT_EQ(calendar.tm_gmtoff, offset);
      EXPECT_EQ(calendar.tm_isdst, 0);
    }
  }
}

host::Bytes zone_reply(int32_t offset, const std::string &name) {
  return recorder::bytes_of(std::string(reinterpret_cast<const char *>(&offset), sizeof offset) + name);
}

long offset_at(time_t moment) {
  tm calendar = {};
  localtime_r(&moment, &calendar);
  return calendar.tm_gmtoff;
}

long followed_at(time_t moment) {
  clock_now = moment;
  follow_service_zone();
  return offset_at(moment);
}

// All in one, as the shell's own zone is taken once.
TEST(Zone, is_the_services_while_it_answers_and_then_the_shells_own) {
  recorder::reset();
  setenv("TZ", "Europe/Berlin", 1);
  recorder::control_reply = zone_reply(-12600, "somewhere");
  EXPECT_EQ(followed_at(winter), -12600);
  recorder::control_reply = zone_reply(7200, "");
  EXPECT_EQ(followed_at(winter), -12600) << "it was asked in this second";
  EXPECT_EQ(recorder::calls, std::vector<std::string>{"control get_zone"});
  EXPECT_EQ(followed_at(winter + 1), 7200);
  recorder::control_reply.pop_back();  // does not fit
  EXPECT_EQ(followed_at(winter + 2), 3600);
  recorder::control_status = host::err_not_running;
  EXPECT_EQ(followed_at(summer), 7200);
  recorder::control_status = 0;
  recorder::control_reply = zone_reply(0, "UTC");
  EXPECT_EQ(followed_at(summer + 1), 0);
}

}  // namespace
}  // namespace shell
