// SPDX-License-Identifier: Apache-2.0
// All schedules in a line each, what a time was taken for, and what of the history and the job log is asked for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "control/operations.h"
#include "control/statuses.h"
#include "service/request/overview.h"
#include "tests/service/operator_requests.h"

namespace service_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr time_t minute = 60;

struct Overview : ::testing::Test {
  World world;

  Overview() { create_good_bad_and_own_job(world); }

  std::string overview(const host::Caller &caller = root()) {
    return text_of(ask(world, control::Operation::overview, {}, caller));
  }
  std::string explained(const std::string &schedule) {
    return text_of(ask(world, control::Operation::explain_time, bytes(schedule)));
  }

  // "schedule/job" of each outcome, as the stream has them.
  std::vector<std::string> logged(const control::LogQuery &asked, const host::Caller &caller = root()) {
    const host::Answer answer = ask(world, control::Operation::show_log, query(asked), caller);
    std::vector<std::string> entries;
    if (answer.status != 0) return {"status " + std::to_string(answer.status)};
    while (const std::optional<host::Bytes> message = answer.next()) {
      sch_log_entry entry = {};
      std::memcpy(&entry, message->data(), sizeof entry);
      if (entry.count != 0) entries.push_back(std::string(entry.schedule) + "/" + entry.job);
    }
    return entries;
  }
};

TEST_F(Overview, has_a_line_for_each_schedule) {
  ASSERT_EQ(create_schedule(world, "mixed", {"good", "bad"}, daily(12, 30)), 0u);
  ASSERT_EQ(create_schedule(world, "fresh", {"good"}, daily(13, 0)), 0u);
  ASSERT_EQ(create_schedule(world, "resting", {"good"}, daily(12, 45)), 0u);
  ASSERT_EQ(create_schedule(world, "bare", {}, {}), 0u);
  ASSERT_EQ(ask(world, control::Operation::disable_schedule, bytes("resting")).status, 0u);
  pass_to(world, noon + 30 * minute);
  EXPECT_EQ(overview(),
            "schedule  next due                       in       last outcome  enabled  how often\n"
            "mixed     Sun 2026-11-22 12:30:00 +0000  1d 00h   failed        yes      daily 12:30\n"
            "fresh     Sat 2026-11-21 13:00:00 +0000  30m 00s  -             yes      daily 13:00\n"
            "resting   -                              -        -             no       daily 12:45\n"
            "bare      -                              -        -             yes      no time\n");
}

TEST_F(Overview, shows_a_user_what_is_theirs) {
  ASSERT_EQ(create_schedule(world, "roots", {"good"}, daily(12, 30)), 0u);
  ASSERT_EQ(create_schedule(world, "nobodys", {"own"}, daily(12, 30), nobody()), 0u);
  EXPECT_THAT(overview(nobody()), HasSubstr("nobodys"));
  EXPECT_THAT(overview(nobody()), Not(HasSubstr("roots")));
  EXPECT_EQ(overview(daemon_user()), "");
}

sch_tminfo time_of(uint32_t type, int day, int hour, int minute_of_hour) {
  sch_tminfo time = {};
  time.type = type;
  time.hour = hour;
  time.minute = minute_of_hour;
  (type == SCH_SCHEDULE_MONTHLY ? time.day_of_month : time.day_of_week) = day;
  return time;
}

TEST(how_often, says_each_kind_of_time) {
  EXPECT_EQ(service::how_often(time_of(SCH_SCHEDULE_NONE, 0, 0, 0)), "no time");
  EXPECT_EQ(service::how_often(time_of(SCH_SCHEDULE_ONESHOT, 0, 7, 5)), "once");
  EXPECT_EQ(service::how_often(time_of(SCH_SCHEDULE_DAILY, 0, 1, 7)), "daily 01:07");
  EXPECT_EQ(service::how_often(time_of(SCH_SCHEDULE_WEEKLY, 1, 10, 0)), "weekly Sun 10:00");
  EXPECT_EQ(service::how_often(time_of(SCH_SCHEDULE_MONTHLY, 31, 0, 0)), "monthly day 31 00:00");
  EXPECT_EQ(service::how_often(time_of(SCH_SCHEDULE_PERIODIC, 4, 4, 39)), "every 4d 04h 39m");
}

TEST_F(Overview, explains_a_time_with_its_next_due_one) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, daily(12, 30)), 0u);
  ASSERT_EQ(create_schedule(world, "bare", {}, {}), 0u);
  EXPECT_EQ(explained("s"), "daily 12:30; next due Sat 2026-11-21 12:30:00 +0000, in 30m 00s\n");
  EXPECT_EQ(explained("bare"), "no time; never due\n");
  ASSERT_EQ(create_schedule(world, "often", {}, every(90, noon + 5 * minute)), 0u);
  EXPECT_THAT(explained("often"),
              ::testing::StartsWith("every 0d 00h 90m from Sat 2026-11-21 12:05:00 +0000; next due "));
  sch_tminfo once = time_of(SCH_SCHEDULE_ONESHOT, 21, 12, 7);
  once.year = 126;
  once.month = 10;
  once.day_of_month = 21;
  ASSERT_EQ(create_schedule(world, "once", {}, once), 0u);
  EXPECT_THAT(explained("once"), ::testing::StartsWith("once on 2026-11-21 at 12:07; next due "));
  ASSERT_EQ(ask(world, control::Operation::disable_schedule, bytes("s")).status, 0u);
  EXPECT_EQ(explained("s"), "daily 12:30; disabled, so not due\n");
  EXPECT_EQ(ask(world, control::Operation::explain_time, bytes("none")).status, control::err_no_such_schedule);
}

struct Chosen : Overview {
  Chosen() {
    EXPECT_EQ(create_schedule(world, "mixed", {"good", "bad"}, daily(12, 30)), 0u);
    EXPECT_EQ(create_schedule(world, "fine", {"good"}, daily(12, 31)), 0u);
    EXPECT_EQ(create_schedule(world, "nobodys", {"own"}, daily(12, 32), nobody()), 0u);
    for (const int at : {30, 31, 32})
      pass_to(world, noon + at * minute);
  }

  std::vector<std::string> runs_with(const control::HistoryQuery &asked) {
    std::vector<std::string> found;
    const std::string shown = history(world, asked);
    for (const char *name : {"mixed", "fine", "nobodys"})
      if (shown.find(name) != std::string::npos) found.emplace_back(name);
    return found;
  }
};

control::LogQuery log_query(const char *schedule = "", const char *job = "") {
  control::LogQuery query = {};
  std::strcpy(query.schedule, schedule);
  std::strcpy(query.job, job);
  return query;
}

TEST_F(Chosen, log_is_all_of_it_where_nothing_is_chosen) {
  EXPECT_THAT(logged({}), ElementsAre("mixed/good", "mixed/bad", "fine/good", "nobodys/own"));
}

TEST_F(Chosen, log_is_that_of_a_schedule_or_a_job_or_both) {
  EXPECT_THAT(logged(log_query("mixed")), ElementsAre("mixed/good", "mixed/bad"));
  EXPECT_THAT(logged(log_query("", "good")), ElementsAre("mixed/good", "fine/good"));
  EXPECT_THAT(logged(log_query("fine", "good")), ElementsAre("fine/good"));
  EXPECT_THAT(logged(log_query("fine", "bad")), ElementsAre());
  EXPECT_THAT(logged(log_query("good")), ElementsAre());
}

TEST_F(Chosen, log_has_the_failed_the_newest_or_the_later_alone) {
  control::LogQuery asked = {};
  asked.failed_only = 1;
  EXPECT_THAT(logged(asked), ElementsAre("mixed/bad"));
  asked = {};
  asked.count = 2;
  EXPECT_THAT(logged(asked), ElementsAre("fine/good", "nobodys/own"));
  asked = log_query("", "good");
  asked.count = 1;
  EXPECT_THAT(logged(asked), ElementsAre("fine/good"));
  asked = {};
  asked.since = noon + 31 * minute;
  EXPECT_THAT(logged(asked), ElementsAre("fine/good", "nobodys/own"));
}

TEST_F(Chosen, log_of_a_run_is_its_outcomes) {
  control::LogQuery asked = {};
  asked.run = 1;
  EXPECT_THAT(logged(asked), ElementsAre("mixed/good", "mixed/bad"));
  asked.run = 99;
  EXPECT_THAT(logged(asked), ElementsAre("status " + std::to_string(control::err_no_history_of_run)));
}

TEST_F(Chosen, log_shows_a_user_what_is_theirs) {
  EXPECT_THAT(logged({}, nobody()), ElementsAre("nobodys/own"));
  control::LogQuery asked = {};
  asked.run = 1;
  EXPECT_THAT(logged(asked, nobody()), ElementsAre("status " + std::to_string(control::err_no_history_of_run)));
}

TEST_F(Chosen, history_is_that_of_a_job) {
  control::HistoryQuery asked = {0, 0, 0};
  std::strcpy(asked.job, "good");
  EXPECT_THAT(runs_with(asked), ElementsAre("mixed", "fine"));
  std::strcpy(asked.job, "bad");
  EXPECT_THAT(runs_with(asked), ElementsAre("mixed"));
}

TEST_F(Chosen, history_is_that_since_a_time) {
  control::HistoryQuery asked = {0, 0, 0};
  asked.since = noon + 31 * minute;
  EXPECT_THAT(runs_with(asked), ElementsAre("fine", "nobodys"));
}

}  // namespace
}  // namespace service_test
