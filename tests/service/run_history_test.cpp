// SPDX-License-Identifier: Apache-2.0
// The history of runs: what it tells, what it keeps, and whose it is.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <limits>

#include "control/operations.h"
#include "platform/pss.h"
#include "service/request/control.h"
#include "service/run/history_page.h"
#include "service/state/run_state.h"
#include "service/state/schedule_state.h"
#include "tests/service/recorded_fixture.h"

namespace service_test {
namespace {

TEST_F(Recorded, the_history_tells_of_a_run_what_is_known_and_survives_a_restart) {
  configure("s", {"first", "second"}, daily(12, 30));
  pass_to(world, due + 5);
  world.restart();
  const std::vector<HistoryRun> runs = history("s");
  ASSERT_THAT(runs, SizeIs(1));
  ASSERT_THAT(runs[0].outcomes, SizeIs(2));
  const Outcome &second = runs[0].outcomes[1];
  EXPECT_EQ(second.run, runs[0].number);
  EXPECT_EQ(second.sequence, runs[0].outcomes[0].sequence + 1);
  EXPECT_EQ(second.due, due);
  EXPECT_EQ(second.reason, Reason::ended);
  EXPECT_EQ(second.wait_status, 0u);
  EXPECT_EQ(second.run_begin_ms, (due + 5) * 1000);
  EXPECT_EQ(second.begin_ms, (due + 5) * 1000);
  EXPECT_EQ(second.end_ms, (due + 5) * 1000);
  EXPECT_EQ(second.job, "second");
  EXPECT_EQ(second.job_id, 1u);
  EXPECT_EQ(second.output_bytes, 7u);
  EXPECT_EQ(second.asked_by, "");
}

TEST_F(Recorded, the_history_keeps_the_last_64_runs_and_not_many_more) {
  configure("s", {"job"}, every(1, noon + minute));
  uint64_t last = 0;
  for (time_t run = 1; run <= 100; run++)
    pass_to(world, noon + run * minute);
  const std::vector<HistoryRun> runs = service::read_history(*service::find_schedule("s"), 1000);
  EXPECT_GE(runs.size(), service::history_runs);
  EXPECT_LT(runs.size(), service::history_runs + 16);
  for (auto run = runs.rbegin(); run != runs.rend(); ++run) {
    EXPECT_EQ(run->number, last == 0 ? run->number : last + 1);
    last = run->number;
  }
  EXPECT_EQ(runs.front().outcomes[0].due, noon + 100 * minute);
  EXPECT_THAT(history("s"), SizeIs(service::history_runs));
  const auto found = service::find_in_history(*service::find_schedule("s"), runs[20].number);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->outcomes[0].due, runs[20].outcomes[0].due);
  EXPECT_FALSE(service::find_in_history(*service::find_schedule("s"), last + 1));
}

TEST_F(Recorded, the_outcomes_of_a_run_come_in_their_order_also_from_two_pages) {
  configure("s", {"job"}, {});
  const sch_schedule_entry &entry = *service::find_schedule("s");
  service::RunState state = service::new_run_state(entry);
  state.end_page = 2;
  sch_runtime_key key = service::run_key(service::run_state_key, 0, "s");
  const pss_buf name = {&key, sizeof key}, value = {&state, sizeof state};
  ASSERT_EQ(pss_store(pss_running_db, 1, &name, &value), 0u);
  service::HistoryPage first(service::creation(*entry.rec), nullptr);
  Outcome outcome;
  outcome.run = 5;
  for (outcome.sequence = 1; outcome.sequence <= 2; outcome.sequence++)
    ASSERT_TRUE(first.add(outcome));
  service::HistoryPage second(service::creation(*entry.rec), &first);
  for (outcome.sequence = 3; outcome.sequence <= 4; outcome.sequence++)
    ASSERT_TRUE(second.add(outcome));
  ASSERT_EQ(first.write(entry, 0), 0u);
  ASSERT_EQ(second.write(entry, 1), 0u);
  const auto sequences = [](const HistoryRun &run) {
    std::vector<uint64_t> all;
    for (const Outcome &each : run.outcomes)
      all.push_back(each.sequence);
    return all;
  };
  ASSERT_THAT(history("s"), SizeIs(1));
  EXPECT_THAT(sequences(history("s")[0]), ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(sequences(*service::find_in_history(entry, 5)), ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(service::newest_run(entry), 5u);
  EXPECT_EQ(second.new_runs(), 0u);
}

Outcome outcome_of(uint64_t run, uint64_t sequence) {
  Outcome outcome;
  outcome.run = run;
  outcome.sequence = sequence;
  return outcome;
}

TEST(Page, knows_its_first_and_last_run_and_how_many_begin_in_it) {
  service::HistoryPage before(1, nullptr);
  EXPECT_EQ(before.last_run(), 0u);
  ASSERT_TRUE(before.add(outcome_of(6, 10)));
  EXPECT_EQ(before.first_run(), 6u);
  EXPECT_EQ(before.new_runs(), 1u);
  service::HistoryPage page(1, &before);
  EXPECT_EQ(page.last_run(), 6u);
  for (const auto &[run, sequence] : {std::pair{6, 12}, {7, 11}, {5, 14}, {9, 13}, {9, 15}})
    ASSERT_TRUE(page.add(outcome_of(static_cast<uint64_t>(run), static_cast<uint64_t>(sequence))));
  EXPECT_EQ(page.first_run(), 5u);
  EXPECT_EQ(page.last_run(), 9u);
  EXPECT_EQ(page.last_sequence(), 15u);
  EXPECT_EQ(page.new_runs(), 2u);
  EXPECT_THAT(page.outcomes(), SizeIs(5));
}

TEST(Page, keeps_whole_names_and_the_beginning_of_a_long_remark_until_it_is_full) {
  service::HistoryPage page(1, nullptr);
  Outcome outcome = outcome_of(1, 1);
  outcome.job = std::string(31, 'j');
  outcome.asked_by = std::string(31, 'a');
  outcome.remark = std::string(200, 'r');
  size_t kept = 0;
  while (page.add(outcome))
    kept++;
  EXPECT_EQ(kept, (1024u - 40) / (80 + 31 + 31 + 160));
  ASSERT_THAT(page.outcomes(), SizeIs(kept));
  for (const Outcome &each : page.outcomes()) {
    EXPECT_EQ(each.job, outcome.job);
    EXPECT_EQ(each.asked_by, outcome.asked_by);
    EXPECT_EQ(each.remark, std::string(160, 'r'));
  }
}

TEST(Moments, are_those_that_a_number_holds_exactly_on_either_side_of_the_epoch) {
  constexpr int64_t farthest = int64_t{1} << 53;
  for (const int64_t ms : {-farthest, int64_t{-1}, int64_t{0}, farthest})
    EXPECT_TRUE(service::is_moment_ms(ms)) << ms;
  for (const int64_t ms : {-farthest - 1, farthest + 1})
    EXPECT_FALSE(service::is_moment_ms(ms)) << ms;
}

// Walked, these would keep the service busy for hours.
TEST_F(Recorded, a_state_that_names_more_pages_than_there_can_be_has_no_history_and_takes_outcomes_again) {
  configure("s", {"job"}, every(1, noon + minute));
  pass_to(world, noon + minute);
  const sch_schedule_entry &entry = *service::find_schedule("s");
  service::RunState state = *service::read_run_state(entry);
  state.first_page = state.end_page + 1;
  sch_runtime_key key = service::run_key(service::run_state_key, 0, "s");
  const pss_buf name = {&key, sizeof key}, value = {&state, sizeof state};
  ASSERT_EQ(pss_store(pss_running_db, 1, &name, &value), 0u);
  EXPECT_THAT(history("s"), SizeIs(0));
  pass_to(world, noon + 2 * minute);
  EXPECT_THAT(history("s"), SizeIs(1));
  world.restart();
  EXPECT_THAT(history("s"), SizeIs(1));
}

// What is computed of such moments overflows.
TEST_F(Recorded, an_outcome_whose_moments_no_clock_tells_is_not_shown_nor_what_stands_behind_it) {
  configure("s", {"job"}, every(1, noon + minute));
  pass_to(world, noon + minute);
  const sch_schedule_entry &entry = *service::find_schedule("s");
  Outcome outcome = history("s")[0].outcomes[0];
  service::HistoryPage page(service::creation(*entry.rec), nullptr);
  ASSERT_TRUE(page.add(outcome));
  for (int64_t Outcome::*moment : {&Outcome::run_begin_ms, &Outcome::begin_ms, &Outcome::end_ms})
    for (const int64_t damaged : {std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max()}) {
      service::HistoryPage lying = page;
      Outcome lie = outcome;
      lie.*moment = damaged;
      ASSERT_TRUE(lying.add(lie) && lying.add(outcome));
      EXPECT_THAT(lying.outcomes(), SizeIs(1));
    }
  outcome.end_ms = outcome.begin_ms = int64_t{1} << 53;
  ASSERT_TRUE(page.add(outcome));
  EXPECT_THAT(page.outcomes(), SizeIs(2));
}

TEST_F(Recorded, a_state_or_counters_with_a_moment_that_no_clock_tells_have_none) {
  configure("s", {"job"}, every(1, noon + minute));
  pass_to(world, noon + minute);
  service::RunState state = *service::read_run_state(*service::find_schedule("s"));
  service::RunCounters counters = service::read_run_counters();
  EXPECT_NE(counters.last_seen, 0);
  state.running_since_ms = counters.last_seen = std::numeric_limits<int64_t>::min();
  sch_runtime_key of_state = service::run_key(service::run_state_key, 0, "s");
  sch_runtime_key of_counters = service::run_key(service::counters_key, 0, "");
  const pss_buf names[] = {{&of_state, sizeof of_state}, {&of_counters, sizeof of_counters}};
  const pss_buf values[] = {{&state, sizeof state}, {&counters, sizeof counters}};
  ASSERT_EQ(pss_store(pss_running_db, 2, names, values), 0u);
  EXPECT_EQ(service::read_run_state(*service::find_schedule("s"))->running_since_ms, 0);
  EXPECT_EQ(service::read_run_counters().last_seen, 0);
}

TEST_F(Recorded, a_run_of_which_the_history_has_lost_the_beginning_is_not_shown_by_its_end) {
  ASSERT_EQ(create_job(world, "fails", "exit 3\n"), 0u);
  configure("s", {"fails", "succeeds"}, every(1, noon + minute));
  for (time_t run = 1; run <= 100; run++) {
    pass_to(world, noon + run * minute);
    for (const HistoryRun &shown : service::read_history(*service::find_schedule("s"), 1000))
      EXPECT_THAT(shown.outcomes, SizeIs(2)) << "run " << shown.number << " after " << run;
  }
}

// A due time that is skipped during a run is stored between the run's outcomes: so a page of the history may begin with
// it, while the run's first outcome was in the page that is gone.
TEST_F(Recorded, a_run_whose_beginning_is_lost_is_not_shown_behind_a_due_time_that_was_skipped_meanwhile) {
  ASSERT_EQ(create_job(world, "fails", "exit 3\n"), 0u);
  ASSERT_EQ(create_job(world, "waits", "while [ -e " + world.directory.path() + "/wait ]; do sleep 0.002; done\n"), 0u);
  configure("s", {"fails", "waits"}, every(1, noon + minute));
  const std::string wait = world.directory.path() + "/wait";
  for (time_t run = 1; run <= 120; run += 2) {
    std::ofstream(wait).put('x');
    set_clock(noon + run * minute);
    world.parts->scheduler.check();
    while (service::read_history(*service::find_schedule("s"), 1).empty() ||
           !service::find_in_history(*service::find_schedule("s"), world.parts->runner.list().at(0).ticket.number))
      world.loop.turn();
    set_clock(noon + (run + 1) * minute);
    world.parts->scheduler.check();
    unlink(wait.c_str());
    world.settle();
    for (const HistoryRun &shown : service::read_history(*service::find_schedule("s"), 1000)) {
      const bool skipped = shown.outcomes[0].reason == Reason::skipped;
      ASSERT_THAT(shown.outcomes, SizeIs(skipped ? 1 : 2)) << "run " << shown.number << " after " << run;
    }
  }
  EXPECT_THAT(history("s"), SizeIs(service::history_runs));
}

// No page is gone here: what stands in the first one behind a skipped due time is whole.
TEST_F(Recorded, the_first_run_of_all_is_shown_behind_a_due_time_that_was_skipped_meanwhile) {
  ASSERT_EQ(create_job(world, "waits", "while [ -e " + world.directory.path() + "/wait ]; do sleep 0.002; done\n"), 0u);
  configure("s", {"waits"}, every(1, noon + minute));
  const std::string wait = world.directory.path() + "/wait";
  std::ofstream(wait).put('x');
  for (const time_t run : {1, 2}) {
    set_clock(noon + run * minute);
    world.parts->scheduler.check();
  }
  unlink(wait.c_str());
  world.settle();
  EXPECT_THAT(history("s"), SizeIs(2));
}

TEST_F(Recorded, outcomes_after_a_sequence_number_come_in_its_order_from_all_schedules) {
  configure("a", {"job"}, daily(12, 30));
  configure("b", {"job"}, daily(12, 30));
  pass_to(world, due);
  const uint64_t seen = std::max(history("a")[0].outcomes[0].sequence, history("b")[0].outcomes[0].sequence);
  pass_to(world, due + day);
  std::vector<uint64_t> found;
  service::walk_outcomes_after(seen, [&](const sch_schedule_entry &, const Outcome &outcome) {
    found.push_back(outcome.sequence);
    EXPECT_EQ(outcome.due, due + day);
  });
  EXPECT_THAT(found, ElementsAre(seen + 1, seen + 2));
}

TEST_F(Recorded, numbers_of_runs_are_never_given_twice_and_a_namesake_inherits_nothing) {
  configure("s", {"job"}, daily(12, 30));
  pass_to(world, due);
  const uint64_t number = history("s")[0].number;
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_DELETE_SCHEDULE, schedule_payload("s")).status, 0u);
  configure("s", {"job"}, daily(12, 30));
  EXPECT_THAT(history("s"), SizeIs(0));
  EXPECT_EQ(state_of_schedule("s").execution_count, 0u);
  world.restart();
  EXPECT_THAT(history("s"), SizeIs(0));
  pass_to(world, due + day);
  ASSERT_THAT(history("s"), SizeIs(1));
  EXPECT_GT(history("s")[0].number, number);
}

TEST_F(Recorded, a_schedule_that_a_boot_brings_back_inherits_nothing_of_its_namesake) {
  world.settings.boot_from = service::BootFrom::startup;
  configure("s", {"job"}, daily(12, 30));
  const service::Call call = {world.parts->context, root()};
  ASSERT_EQ(service::control(call, control::Operation::copy_running_startup, {}).status, 0u);
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_DELETE_SCHEDULE, schedule_payload("s")).status, 0u);
  configure("s", {"job"}, daily(12, 30));
  pass_to(world, due);
  ASSERT_EQ(state_of_schedule("s").execution_count, 1u);
  set_clock(due - minute);
  world.boot();
  EXPECT_EQ(state_of_schedule("s").execution_count, 0u);
  EXPECT_EQ(state_of_schedule("s").next_due, due);
  EXPECT_THAT(history("s"), SizeIs(0));
}

TEST_F(Recorded, a_schedule_configured_after_its_last_run_is_found_as_it_was_configured) {
  configure("s", {"job"}, daily(12, 30));
  pass_to(world, due);
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_MODIFY_SCHEDULE, time_payload("s", daily(13, 0))).status, 0u);
  world.restart();
  EXPECT_EQ(state_of_schedule("s").next_due, noon + 60 * minute);
  EXPECT_EQ(state_of_schedule("s").execution_count, 1u);
  EXPECT_EQ(state_of_schedule("s").last_execution, due);
  pass_to(world, noon + 60 * minute);
  world.restart();
  EXPECT_EQ(state_of_schedule("s").next_due, noon + 60 * minute + day);
}

}  // namespace
}  // namespace service_test
