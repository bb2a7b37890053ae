// SPDX-License-Identifier: Apache-2.0
// A run in a line: which of its outcomes stands for it, and what is added up.
#include "service/request/run_summary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/state/tables.h"
#include "tests/service/operator_requests.h"

namespace service_test {
namespace {

using service::Outcome;
using service::Reason;
using service::RunSummary;

constexpr int64_t begin_ms = int64_t{noon} * 1000;

Outcome ended(uint32_t code, int64_t begun_after_ms = 0, int64_t lasted_ms = 10) {
  Outcome outcome;
  outcome.job = "job";
  outcome.due = noon;
  outcome.wait_status = code << 8;
  outcome.run_begin_ms = begin_ms - 7000;
  outcome.begin_ms = begin_ms + begun_after_ms;
  outcome.end_ms = outcome.begin_ms + lasted_ms;
  return outcome;
}

Outcome decided(Reason reason, Outcome outcome) {
  outcome.reason = reason;
  outcome.wait_status = service::exit_status(reason);
  return outcome;
}

// Of a job that did not begin.
Outcome unstarted(Reason reason) {
  Outcome outcome = decided(reason, ended(0));
  outcome.end_ms = outcome.begin_ms + 3000;
  outcome.begin_ms = 0;
  return outcome;
}

struct Summary : ::testing::Test {
  World world;
  Summary() { EXPECT_EQ(create_schedule(world, "s", {}, {}), 0u); }

  static RunSummary of(std::vector<Outcome> outcomes) {
    return service::summary_of(*service::find_schedule("s"), {17, std::move(outcomes)});
  }
};

TEST_F(Summary, has_the_word_of_the_last_decision_of_the_service_or_else_of_the_first_failure) {
  struct {
    std::vector<Outcome> outcomes;
    const char *word;
  } const rows[] = {
      {{ended(0)}, "success"},
      {{ended(3)}, "failed"},
      {{ended(0), ended(3), ended(0)}, "failed"},
      {{decided(Reason::timed_out, ended(0)), ended(0)}, "timed-out"},
      {{decided(Reason::timed_out, ended(0)), ended(3)}, "timed-out"},
      {{decided(Reason::timed_out, ended(0)), decided(Reason::killed, ended(0)), ended(0)}, "killed"},
      {{ended(0), unstarted(Reason::not_started)}, "not-started"},
  };
  for (const auto &row : rows)
    EXPECT_EQ(of(row.outcomes).outcome, row.word) << row.outcomes.size();
}

TEST_F(Summary, begins_with_the_first_job_that_began_and_ends_with_the_last_outcome) {
  const RunSummary run = of({ended(0, 50, 10), ended(0, 20, 500), ended(0, 90, 10), unstarted(Reason::user)});
  EXPECT_EQ(run.begin_ms, begin_ms + 20);
  EXPECT_EQ(run.end_ms, begin_ms + 3000);
  EXPECT_EQ(service::duration_cell(run), "2.980s");
  EXPECT_EQ(of({ended(0, 0, 700), ended(0, 0, 500)}).end_ms, begin_ms + 700);
}

TEST_F(Summary, counts_its_jobs_and_those_that_failed_and_the_due_times_that_it_stands_for) {
  const RunSummary run = of({ended(0), ended(3), unstarted(Reason::user)});
  EXPECT_EQ(service::failed_cell(run), "2 of 3");
  EXPECT_EQ(service::outcome_cell(run), "user");
  Outcome missed = unstarted(Reason::missed);
  missed.job.clear();
  for (const auto &[count, cell] : {std::pair{1u, "missed"}, std::pair{2u, "missed 2 times"}}) {
    missed.missed_count = count;
    EXPECT_EQ(service::outcome_cell(of({missed})), cell);
    EXPECT_EQ(service::failed_cell(of({missed})), "-");
    EXPECT_EQ(service::start_cell(of({missed})), "-");
    EXPECT_EQ(service::duration_cell(of({missed})), "-");
  }
  missed.missed_count = 2;
  EXPECT_EQ(of({missed, missed}).missed, 4u);
}

TEST_F(Summary, of_an_interrupted_run_begins_with_its_first_job_or_else_with_the_run_and_has_no_duration) {
  const RunSummary unknown = of({unstarted(Reason::interrupted)});
  EXPECT_EQ(unknown.begin_ms, begin_ms - 7000);
  EXPECT_EQ(service::duration_cell(unknown), "-");
  const RunSummary known = of({ended(0, 20), unstarted(Reason::interrupted)});
  EXPECT_EQ(known.begin_ms, begin_ms + 20);
  EXPECT_EQ(service::duration_cell(known), "-");
  EXPECT_EQ(of({unstarted(Reason::user)}).begin_ms, 0);
}

TEST_F(Summary, is_that_of_a_failure_when_the_run_is_over_and_was_no_success) {
  EXPECT_FALSE(service::failed(of({ended(0)})));
  EXPECT_TRUE(service::failed(of({ended(1)})));
  EXPECT_TRUE(service::failed(of({unstarted(Reason::missed)})));
  RunSummary under_way;
  under_way.outcome = "running";
  EXPECT_FALSE(service::failed(under_way));
}

TEST_F(Summary, names_its_run_and_who_asked_for_it) {
  Outcome asked = ended(0);
  asked.due = 0;
  asked.asked_by = "an\x1b[2Jna";
  const RunSummary run = of({asked, ended(0)});
  EXPECT_EQ(run.number, 17u);
  EXPECT_EQ(run.schedule, "s");
  EXPECT_EQ(service::due_cell(run).find('\x1b'), std::string::npos);
  EXPECT_THAT(service::due_cell(run), ::testing::StartsWith("asked by an"));
  EXPECT_EQ(service::due_cell(of({ended(0)})), "Sat 2026-11-21 12:00:00 +0000");
}

TEST_F(Summary, of_a_run_under_way_begins_with_its_turn) {
  service::Runner::UnderWay run = {
      {4, service::serial(*service::find_schedule("s")), noon, begin_ms, "root"}, "s", "root", "job", 1, true};
  service::change_state(*service::find_schedule("s"),
                        [](service::ScheduleState &state) { state.last_execution = noon + 5; });
  EXPECT_EQ(service::summary_of(run).outcome, "waiting");
  EXPECT_EQ(service::summary_of(run).begin_ms, 0);
  run.waits = false;
  const RunSummary running = service::summary_of(run);
  EXPECT_EQ(running.outcome, "running");
  EXPECT_EQ(running.begin_ms, begin_ms + 5000);
  EXPECT_EQ(running.number, 4u);
  EXPECT_EQ(running.due, noon);
  EXPECT_EQ(running.asked_by, "root");
  EXPECT_EQ(service::duration_cell(running), "-");
  run.ticket.schedule += 1;  // deleted meanwhile
  EXPECT_EQ(service::summary_of(run).begin_ms, 0);
}

}  // namespace
}  // namespace service_test
