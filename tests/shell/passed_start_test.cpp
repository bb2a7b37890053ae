// SPDX-License-Identifier: Apache-2.0
#include "shell/passed_start.h"

#include <cstdlib>
#include <ctime>

#include "schedcli.h"
#include "tests/shell/session_fixture.h"

namespace shell {
namespace {

constexpr time_t noon = 1782561600;
constexpr int32_t hour = 3600;

TEST(moved_on, keeps_a_start_that_is_ahead) {
  EXPECT_EQ(moved_on(noon + hour, hour, noon), noon + hour);
}

TEST(moved_on, goes_by_whole_periods_to_the_first_that_is_ahead) {
  EXPECT_EQ(moved_on(noon - 10, hour, noon), noon - 10 + hour);
  EXPECT_EQ(moved_on(noon - 5 * hour - 10, hour, noon), noon - 10 + hour);
  EXPECT_EQ(moved_on(noon - 1000 * hour, 24 * hour, noon), noon - 1000 * hour + 42 * 24 * hour);
}

TEST(moved_on, leaves_time_to_send_it) {
  EXPECT_EQ(moved_on(noon - hour + 3, hour, noon), noon + 3 + hour);
  EXPECT_EQ(moved_on(noon - hour + 6, hour, noon), noon + 6);
}

class PassedStart : public SessionTest {
 protected:
  PassedStart() {
    setenv("TZ", "UTC", 1);
    tzset();
  }

  // The calls of the line in the mode of schedule s.
  Calls given(const std::string &line, bool interactive = false) {
    Options options = script_options();
    options.interactive = interactive;
    Session session(options);
    calls_of(session, {"configure terminal", "scheduler schedule name s"});
    const Calls calls = calls_of(session, {line});
    EXPECT_EQ(session.status(), 0) << err;
    return calls;
  }

  static void in_use(const sch_tminfo &time) { recorder::objects["schedule s"] = recorder::schedule_with(time); }
};

constexpr time_t start_of_2020 = 1577836800;

std::string written(time_t moment) {
  tm calendar = {};
  gmtime_r(&moment, &calendar);
  char text[32];
  std::strftime(text, sizeof text, "%Y:%m:%d:%H:%M", &calendar);
  return text;
}

TEST_F(PassedStart, of_a_period_goes_on_by_whole_periods_and_says_so) {
  const std::string line = "time start 2020:1:1:0:0 repeat 1:0:0";
  const time_t before = time(nullptr);
  const Calls calls = given(line);
  const time_t after = time(nullptr);
  const std::string either[] = {written(moved_on(start_of_2020, 86400, before)),
                                written(moved_on(start_of_2020, 86400, after))};
  const std::string &moved =
      calls == Calls{"modify_schedule /7 \"s\" \"" + either[0] + "\" \"1:0:0\""} ? either[0] : either[1];
  EXPECT_EQ(calls, Calls{"modify_schedule /7 \"s\" \"" + moved + "\" \"1:0:0\""});
  EXPECT_EQ(err, "note: schedule s: the start 2020:1:1:0:0 has passed; by whole periods it is " + moved + "\n");
}

TEST_F(PassedStart, that_is_in_use_stays) {
  sch_tminfo time = {};
  time.type = SCH_SCHEDULE_PERIODIC;
  time.start_time = start_of_2020;
  time.day_of_week = 1;
  in_use(time);
  EXPECT_EQ(given("time start 2020:1:1:0:0 repeat 1:0:0"), Calls{});
  EXPECT_EQ(err, "");
  EXPECT_EQ(given("time start 2020:1:1:0:0 repeat 1:0:1").size(), 1u) << "another period";
  EXPECT_EQ(given("time start 2020:1:1:0:1 repeat 1:0:0").size(), 1u) << "another start";
  time = {};
  time.type = SCH_SCHEDULE_ONESHOT;
  time.year = 2020 - 1900;
  time.day_of_month = 1;
  in_use(time);
  EXPECT_EQ(given("time start 2020:1:1:0:0"), Calls{});
  EXPECT_EQ(given("time start 2020:1:1:0:1").size(), 1u);
  recorder::objects["schedule s"].pop_back();
  EXPECT_EQ(given("time start 2020:1:1:0:0").size(), 1u) << "the answer does not fit";
}

TEST_F(PassedStart, of_a_saved_line_is_left_out_and_noted) {
  EXPECT_EQ(given("  time start 2020:1:1:0:0"), Calls{});
  EXPECT_EQ(err, "note: schedule s: its time 2020:1:1:0:0 has passed, so it gets none and does not run\n");
}

struct Handed {
  const char *line, *call;
  bool interactive;
};

// It reports what is wrong.
const Handed handed[] = {
    {"time start 2020:1:1:0:0", "modify_schedule /1 \"s\" \"2020:1:1:0:0\"", false},
    {" time start 2020:1:1:0:0", "modify_schedule /1 \"s\" \"2020:1:1:0:0\"", false},
    {"  time start 2020:1:1:0:0", "modify_schedule /1 \"s\" \"2020:1:1:0:0\"", true},
    {"  time start 1:1:0:0", "modify_schedule /1 \"s\" \"1:1:0:0\"", false},
    {"  time start 2020:1:1:0:0:0", "modify_schedule /1 \"s\" \"2020:1:1:0:0:0\"", false},
    {"  time start 2020:13:1:0:0", "modify_schedule /1 \"s\" \"2020:13:1:0:0\"", false},
    {"  time start +0:0:0", "modify_schedule /1 \"s\" \"+0:0:0\"", false},
    {"  time start 2099:1:1:0:0", "modify_schedule /1 \"s\" \"2099:1:1:0:0\"", false},
    {"time start 2020:1:1:0:0 repeat x", "modify_schedule /7 \"s\" \"2020:1:1:0:0\" \"x\"", false},
    {"time start 2020:1:1:0:0 repeat 0:0:0", "modify_schedule /7 \"s\" \"2020:1:1:0:0\" \"0:0:0\"", false},
    {"time start 2099:1:1:0:0 repeat 1:0:0", "modify_schedule /7 \"s\" \"2099:1:1:0:0\" \"1:0:0\"", false},
    {"time daily 1:00", "modify_schedule /3 \"s\" \"1:00\"", false},
};

TEST_F(PassedStart, reaches_the_handler_where_it_is_none_or_none_that_can_be_moved) {
  for (const Handed &row : handed) {
    EXPECT_EQ(given(row.line, row.interactive).front(), row.call) << row.line;
    EXPECT_EQ(err, "") << row.line;
  }
}

TEST_F(PassedStart, of_every_minute_is_the_shortest) {
  EXPECT_NE(given("time start 2020:1:1:0:0 repeat 0:0:1").front(),
            "modify_schedule /7 \"s\" \"2020:1:1:0:0\" \"0:0:1\"");
}

}  // namespace
}  // namespace shell
