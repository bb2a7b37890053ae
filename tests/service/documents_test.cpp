// SPDX-License-Identifier: Apache-2.0
// What a document says of schedules, runs and the log, word for word. The clock stands still.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "control/operations.h"
#include "tests/service/configuration_fixture.h"

namespace service_test {
namespace {

using control::Operation;
using Json = nlohmann::ordered_json;  // whose members compare in their order

constexpr time_t minute = 60;
constexpr time_t due = noon + 30 * minute;

std::string written(const Bytes &part) {
  return {reinterpret_cast<const char *>(part.data()), part.size()};
}

struct DocumentOfAWorld : ::testing::Test {
  World world;

  Json document(Operation operation, const Bytes &payload = {}) {
    const host::Answer answer = ask(world, Operation::as_json, query(operation, written(payload)));
    std::string text = answer.reply ? text_of(answer) : "";
    while (answer.next) {
      const std::optional<Bytes> piece = answer.next();
      if (!piece) break;
      text += written(*piece);
    }
    const Json whole = Json::parse(text, nullptr, false);
    return whole.is_object() && whole.size() == 1 ? whole.front() : whole;
  }
  Json schedule(const std::string &name) { return document(Operation::schedules, bytes(name))["schedule"][0]; }
  Json run(uint64_t number) { return document(Operation::show_history, query(control::HistoryQuery{number, 0, 0})); }
  uint32_t send(uint32_t opcode, const Bytes &payload) {
    return world.send(root(), SCH_SERVICE_CONFIG, opcode, payload).status;
  }

  DocumentOfAWorld() { create_good_bad_and_own_job(world); }
};

TEST_F(DocumentOfAWorld, of_a_schedule_has_what_was_configured_and_what_became_of_it) {
  ASSERT_EQ(create_schedule(world, "s", {"good", "bad"}, daily(12, 30)), 0u);
  ASSERT_EQ(send(SCH_OP_SCHEDULE_EMAIL, address_payload(SCH_EMAIL_ADD, "s", "ops@example.org")), 0u);
  EXPECT_EQ(schedule("s"), Json::parse(R"({"name": "s", "owner": "root", "enabled": true,
      "next-due": "2026-11-21T12:30:00+00:00", "recurrence": {"kind": "daily", "time-of-day": "12:30"},
      "executions": 0, "job": [{"name": "good"}, {"name": "bad"}], "address": ["ops@example.org"]})"));
  pass_to(world, due);
  EXPECT_EQ(schedule("s"), Json::parse(R"({"name": "s", "owner": "root", "enabled": true,
      "next-due": "2026-11-22T12:30:00+00:00", "recurrence": {"kind": "daily", "time-of-day": "12:30"},
      "last-start": "2026-11-21T12:30:00+00:00", "last-end": "2026-11-21T12:30:00+00:00", "executions": 1,
      "job": [{"name": "good", "last-exit-code": 0, "last-end": "2026-11-21T12:30:00+00:00"},
              {"name": "bad", "last-exit-code": 3, "last-end": "2026-11-21T12:30:00+00:00"}],
      "address": ["ops@example.org"]})"));
}

TEST_F(DocumentOfAWorld, of_all_schedules_has_a_line_with_the_newest_run_of_each) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, daily(12, 30)), 0u);
  ASSERT_EQ(create_schedule(world, "bare", {}, {}), 0u);
  ASSERT_EQ(ask(world, Operation::disable_schedule, bytes("bare")).status, 0u);
  pass_to(world, due);
  Json lines = document(Operation::overview)["schedule"];
  ASSERT_EQ(lines.size(), 2u) << lines;
  EXPECT_EQ(lines[0]["recurrence"], Json::parse(R"({"kind": "daily", "time-of-day": "12:30"})"));
  EXPECT_EQ(lines[0]["last-run"], Json::parse(R"({"number": "1", "schedule": "s", "due": "2026-11-21T12:30:00+00:00",
      "start": "2026-11-21T12:30:00.000+00:00", "end": "2026-11-21T12:30:00.000+00:00", "duration": "0",
      "outcome": "success", "jobs": 1, "jobs-failed": 0})"));
  EXPECT_EQ(lines[1], Json::parse(R"({"name": "bare", "owner": "root", "enabled": false})"));
}

TEST_F(DocumentOfAWorld, of_a_run_has_each_outcome_with_what_was_printed) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, daily(12, 30)), 0u);
  pass_to(world, due);
  const std::string whole = R"({"number": "1", "schedule": "s", "due": "2026-11-21T12:30:00+00:00",
      "start": "2026-11-21T12:30:00.000+00:00", "end": "2026-11-21T12:30:00.000+00:00", "duration": "0",
      "outcome": "success", "jobs": 1, "jobs-failed": 0, "owner": "root", "job-outcome": [{"number": "1",
      "job": "good", "outcome": "success", "exit-code": 0, "start": "2026-11-21T12:30:00.000+00:00", "duration": "0",
      "end": "2026-11-21T12:30:00.000+00:00", "output": "fine\n", "output-length": "5", "output-cut": false}]})";
  EXPECT_EQ(run(1), Json::parse(whole));
}

TEST_F(DocumentOfAWorld, of_a_run_whose_log_was_cleared_tells_how_long_the_output_was) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, daily(12, 30)), 0u);
  pass_to(world, due);
  ASSERT_EQ(send(SCH_OP_CLEAR_LOG, log_payload("", "", 0)), 0u);
  Json outcome = run(1)["job-outcome"][0];
  EXPECT_EQ(outcome["output"], "");
  EXPECT_EQ(outcome["output-length"], "5");
  EXPECT_EQ(outcome["output-cut"], true);
}

TEST_F(DocumentOfAWorld, of_a_run_that_was_asked_for_has_who_asked_and_no_due_time) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, daily(12, 30)), 0u);
  ASSERT_EQ(ask(world, Operation::run_schedule, bytes("s")).status, 0u);
  world.settle();
  Json asked = run(1);
  EXPECT_EQ(asked["asked-by"], "root");
  EXPECT_FALSE(asked.contains("due"));
}

TEST_F(DocumentOfAWorld, of_a_due_time_that_was_missed_has_no_start) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, daily(12, 30)), 0u);
  pass_to(world, due + 10 * minute);
  Json missed = run(1);
  EXPECT_EQ(missed["outcome"], "missed");
  EXPECT_EQ(missed["missed"], 1);
  EXPECT_FALSE(missed.contains("start") || missed.contains("duration")) << missed;
  EXPECT_FALSE(missed["job-outcome"][0].contains("job") || missed["job-outcome"][0].contains("start")) << missed;
}

TEST_F(DocumentOfAWorld, of_the_log_has_an_entry_for_each_outcome) {
  ASSERT_EQ(create_schedule(world, "s", {"bad"}, daily(12, 30)), 0u);
  pass_to(world, due);
  EXPECT_EQ(document(Operation::show_log, query(control::LogQuery{})), Json::parse(R"({"entries": 1, "entry": [{
      "run": "1", "outcome-number": "1", "schedule": "s", "job": "bad", "owner": "root",
      "end": "2026-11-21T12:30:00+00:00", "outcome": "failed", "exit-code": 3, "output": "", "output-length": "0",
      "output-cut": false}]})"));
}

// After a restart nobody knows any more who changed the configuration by commands, and when.
TEST_F(DocumentOfAWorld, of_the_kept_configurations_has_no_moment_that_is_not_known) {
  world.restart();
  ASSERT_EQ(replace(world, "feature scheduler\n").status, 0u);
  Json kept = document(Operation::configuration_history)["configuration"];
  ASSERT_EQ(kept.size(), 2u) << kept;
  EXPECT_EQ(kept[0]["when"], "2026-11-21T12:00:00+00:00");
  EXPECT_EQ(kept[0]["who"], "root");
  EXPECT_EQ(kept[0]["with"], "configure replace");
  EXPECT_FALSE(kept[1].contains("when")) << kept;
}

TEST_F(DocumentOfAWorld, of_the_service_says_how_it_does) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, daily(12, 30)), 0u);
  Json status = document(Operation::status);
  EXPECT_EQ(status["mode"], "active");
  EXPECT_EQ(status["enabled"], true);
  EXPECT_EQ(status["schedules"], 1);
  EXPECT_EQ(status["runs-under-way"], 0);
  EXPECT_EQ(status["next-due"], Json::parse(R"({"time": "2026-11-21T12:30:00+00:00", "schedule": "s"})"));
  EXPECT_EQ(status["share"][0], Json::parse(R"({"user": "root", "schedules": 1, "jobs": 2, "runs-under-way": 0,
                                               "runs-waiting": 0})"));
  EXPECT_FALSE(status.contains("confirmation") || status.contains("settings-file")) << status;
}

}  // namespace
}  // namespace service_test
