// SPDX-License-Identifier: Apache-2.0
// The metrics' text, what is counted for it, and what it says of a whole service.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/metrics/exposition.h"
#include "service/metrics/metrics.h"
#include "service/metrics/tally.h"
#include "service/request/control.h"
#include "service/state/tables.h"
#include "tests/service/configuration_fixture.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using service::Exposition;
using service::Histogram;
using service::Outcome;
using service::Reason;
using service::RunStep;
using service::Tally;
using ::testing::HasSubstr;

TEST(Exposition, has_a_head_for_each_family_and_an_end) {
  Exposition text;
  text.gauges("g", "A gauge.");
  text.sample(1);
  text.sample(2, {{"a", "x"}, {"b", "y"}});
  text.counters("c_total", "Counted \\ and\nmore.");
  text.sample(3, {{"a", "\"\\\n'"}});
  EXPECT_EQ(text.text(),
            "# HELP g A gauge.\n# TYPE g gauge\ng 1\ng{a=\"x\",b=\"y\"} 2\n"
            "# HELP c_total Counted \\\\ and\\nmore.\nc_total{a=\"\\\"\\\\\\n'\"} 3\n# EOF\n");
}

TEST(Exposition, has_seconds_with_the_digits_that_they_need_and_one_at_least) {
  static constexpr int64_t bounds[] = {5, 100, 1500, 60000, 100000};
  Histogram histogram(bounds);
  for (const int64_t duration : {-7, 0, 5, 6, 100, 101, 60000, 60001, 1000000})
    histogram.add(duration);
  Exposition text;
  text.histogram("h", "A histogram.", histogram);
  EXPECT_EQ(text.text(),
            "# HELP h A histogram.\n# TYPE h histogram\nh_bucket{le=\"0.005\"} 3\nh_bucket{le=\"0.1\"} 5\n"
            "h_bucket{le=\"1.5\"} 6\nh_bucket{le=\"60.0\"} 7\nh_bucket{le=\"100.0\"} 8\nh_bucket{le=\"+Inf\"} 9\n"
            "h_sum 1120.213\nh_count 9\n# EOF\n");
}

TEST(Tally, begins_with_a_place_for_each_outcome_and_its_bounds) {
  const Tally tally;
  std::string words;
  for (const auto &[word, count] : tally.outcomes())
    words += word + "=" + std::to_string(count) + " ";
  for (const char *word : {"success=0 ", "failed=0 ", "missed=0 ", "killed=0 "})
    EXPECT_THAT(words, HasSubstr(word));
  EXPECT_EQ(tally.outcomes().size(),
            2u + static_cast<size_t>(Reason::killed) - static_cast<size_t>(Reason::no_jobs) + 1);
  EXPECT_THAT(tally.durations().bounds_ms(),
              ::testing::ElementsAre(100, 1000, 10000, 60000, 300000, 900000, 1800000, 3600000));
  EXPECT_THAT(tally.latenesses().bounds_ms(), ::testing::ElementsAre(10, 100, 500, 1000, 5000, 15000, 60000));
}

RunStep step_of(const std::string &job, int64_t begin_ms, int64_t end_ms, uint32_t due) {
  RunStep step;
  step.has_outcome = true;
  step.outcome.job = job;
  step.outcome.begin_ms = begin_ms;
  step.outcome.end_ms = end_ms;
  step.outcome.run_begin_ms = begin_ms;
  step.outcome.due = due;
  return step;
}

TEST(Tally, counts_outcomes_durations_of_what_began_and_lateness_of_what_was_due) {
  Tally tally;
  const int64_t begin = (noon + 1) * 1000 + 250;
  tally.take(step_of("a", begin, begin + 3000, static_cast<uint32_t>(noon)));
  tally.take(step_of("b", begin, begin + 4000, 0));
  RunStep missed = step_of("", 0, noon * 1000, static_cast<uint32_t>(noon));
  missed.outcome.reason = Reason::missed;
  tally.take(missed);
  RunStep end = step_of("c", begin, begin + 1, static_cast<uint32_t>(noon));
  end.has_outcome = false;
  tally.take(end);
  EXPECT_EQ(tally.outcomes().at("success"), 2u);
  EXPECT_EQ(tally.outcomes().at("missed"), 1u);
  EXPECT_EQ(tally.durations().count(), 2u);
  EXPECT_EQ(tally.durations().sum_ms(), 7000);
  EXPECT_EQ(tally.latenesses().count(), 1u);
  EXPECT_EQ(tally.latenesses().sum_ms(), 1250);
}

std::string metrics_of(World &world, const host::Caller &caller = root()) {
  return text_in(ask(world, control::Operation::metrics, Bytes(), caller));
}

TEST(Metrics, say_what_a_service_has_and_does) {
  World world;
  Tally tally;
  world.parts->context.tally = &tally;
  ASSERT_EQ(create_job(world, "good", "true\n"), 0u);
  ASSERT_EQ(create_job(world, "bad", "exit 3\n"), 0u);
  ASSERT_EQ(create_schedule(world, "fine", {"good"}, daily(12, 30)), 0u);
  ASSERT_EQ(create_schedule(world, "mixed", {"bad", "good"}, daily(13, 30)), 0u);
  ASSERT_EQ(create_schedule(world, "still", {"good"}, {}), 0u);
  EXPECT_THAT(metrics_of(world), HasSubstr("schedcli_schedule_last_end_timestamp_seconds When"));
  due_now(world, noon + 30 * 60);
  world.settle();
  tally.take(step_of("good", 1, 2, 0));
  RunStep last(*service::find_schedule("fine"));
  last.has_outcome = false;
  last.ends_run = true;
  tally.take(last);
  const std::string text = metrics_of(world);
  for (const char *line : {"\nschedcli_build_info{version=\"",
                           "\nschedcli_active 1\n",
                           "\nschedcli_enabled 1\n",
                           "\nschedcli_stored_outcomes_total 1\n",
                           "\nschedcli_schedules 3\n",
                           "\nschedcli_runs_under_way 0\n",
                           "\nschedcli_runs_waiting 0\n",
                           "\nschedcli_log_size_bytes 16384\n",
                           "\nschedcli_store_size_bytes{store=\"",
                           "\nschedcli_user_schedules{user=\"root\"} 3\n",
                           "\nschedcli_user_jobs{user=\"root\"} 2\n",
                           "\nschedcli_user_runs_under_way{user=\"root\"} 0\n",
                           "\nschedcli_user_runs_waiting{user=\"root\"} 0\n",
                           "\nschedcli_schedule_next_due_timestamp_seconds{schedule=\"fine\"} 1795350600\n",
                           "\nschedcli_schedule_next_due_timestamp_seconds{schedule=\"mixed\"} 1795267800\n",
                           "\nschedcli_schedule_last_outcome{schedule=\"fine\",outcome=\"success\"} 1\n",
                           "\nschedcli_schedule_last_end_timestamp_seconds{schedule=\"fine\"} 17952642",
                           "\nschedcli_outcomes_total{outcome=\"success\"} 1\n",
                           "\nschedcli_job_duration_seconds_count 1\n",
                           "\nschedcli_run_lateness_seconds_count 0\n"})
    EXPECT_THAT(text, HasSubstr(line));
  for (const char *line : {"timestamp_seconds{schedule=\"still\"}", "last_outcome{schedule=\"mixed\"", "mail_queue"})
    EXPECT_THAT(text, ::testing::Not(HasSubstr(line)));
  EXPECT_THAT(text, ::testing::EndsWith("\n# EOF\n"));
  world.parts->context.tally = nullptr;
  EXPECT_THAT(metrics_of(world), ::testing::Not(HasSubstr("outcomes_total{")));
}

TEST(Metrics, of_a_service_in_standby_are_that_it_is) {
  EXPECT_THAT(text_in(service::show_standby_metrics(noon)),
              ::testing::MatchesRegex(
                  "# HELP schedcli_build_info The service's version.\n# TYPE schedcli_build_info gauge\n"
                  "schedcli_build_info.version=\"[0-9.]+\". 1\n"
                  "# HELP schedcli_active 1 where the service runs schedules, 0 in standby.\n"
                  "# TYPE schedcli_active gauge\nschedcli_active 0\n"
                  "# HELP schedcli_start_time_seconds When the service was started: its counters began at 0 then.\n"
                  "# TYPE schedcli_start_time_seconds gauge\nschedcli_start_time_seconds 1795262400\n# EOF\n"));
}

}  // namespace
}  // namespace service_test
