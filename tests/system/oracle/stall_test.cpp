// SPDX-License-Identifier: Apache-2.0
// A disk that stalls in the midst of a change: who only reads is answered, everything else waits its turn, and nothing
// is acknowledged before it is durable.
#include <gtest/gtest.h>
#include <unistd.h>

#include "control/statuses.h"
#include "host/files/paths.h"
#include "tests/system/oracle/requests.h"
#include "tests/system/oracle/stories.h"

namespace oracle {
namespace {

class Stall : public testing::Test {
 protected:
  ~Stall() override { open_gate(); }

  void close_gate() {
    world.faults().at_gate = 0;
    world.faults().gate_closed = true;
  }
  void open_gate() { world.faults().gate_closed = false; }
  bool is_stalled() { return world.faults().gate_closed; }
  void await_stall() {
    constexpr int longest_ms = 60000;
    for (int waited = 0; world.faults().at_gate == 0 && waited < longest_ms; waited++)
      usleep(1000);
    ASSERT_NE(world.faults().at_gate, 0u);
  }
  void expect_readable() {
    EXPECT_TRUE(shows_schedules(reader));
    EXPECT_TRUE(see_history(reader, "A"));
    EXPECT_TRUE(is_stalled());
  }

  // The request's sync is at the gate when this returns.
  void begin_change(Client &client, const std::string &job) {
    close_gate();
    ASSERT_TRUE(client.send_config(SCH_OP_CREATE_JOB, job_text(job, "")));
    await_stall();
  }

  static bool shows_schedules(Client &client) {
    const auto reply = client.show(SCH_OP_SHOW_SCHEDULE);
    return reply && reply->status == 0 && !reply->pieces.empty();
  }

  // What the world does not know of would be found wrong.
  void delete_job(const std::string &job) { EXPECT_EQ(world.config(SCH_OP_DELETE_JOB, job_text(job, "", true)), 0u); }

  World world;
  Client first{host::paths().socket}, second{host::paths().socket}, reader{host::paths().socket};
};

TEST_F(Stall, of_a_change_keeps_nobody_from_reading_and_the_next_change_waits_its_turn) {
  begin_change(first, "slow");
  ASSERT_TRUE(second.send_config(SCH_OP_CREATE_JOB, job_text("next", "")));
  EXPECT_TRUE(shows_schedules(reader));
  Client newcomer(host::paths().socket);
  EXPECT_TRUE(shows_schedules(newcomer));
  EXPECT_EQ(newcomer.control(control::Operation::status, "")->status, 0u);
  EXPECT_EQ(world.faults().at_gate, 1u);
  EXPECT_TRUE(is_stalled());
  EXPECT_FALSE(first.has_answer());
  EXPECT_FALSE(second.has_answer());
  open_gate();
  EXPECT_EQ(first.receive()->status, 0u);
  EXPECT_EQ(second.receive()->status, 0u);
  delete_job("slow");
  delete_job("next");
  EXPECT_EQ(text_of(world.judge_anew()), "");
}

TEST_F(Stall, of_a_change_that_then_fails_rolls_it_back_and_the_next_one_is_judged_on_what_there_was) {
  begin_change(first, "same");
  ASSERT_TRUE(second.send_config(SCH_OP_CREATE_JOB, job_text("same", "")));
  EXPECT_TRUE(shows_schedules(reader));
  world.arm(Action::fail_io, 1);
  EXPECT_TRUE(is_stalled());
  open_gate();
  EXPECT_EQ(first.receive()->status, control::err_not_stored);
  EXPECT_EQ(second.receive()->status, 0u);
  delete_job("same");
  world.disarm();
  EXPECT_EQ(text_of(world.judge_anew()), "");
}

TEST_F(Stall, over_due_times_leaves_each_with_one_outcome) {
  begin_change(first, "slow");
  world.to_next_minute();
  world.pass(5000);
  EXPECT_TRUE(shows_schedules(reader));
  EXPECT_TRUE(see_history(reader, "A").value().empty());
  EXPECT_TRUE(is_stalled());
  open_gate();
  EXPECT_EQ(first.receive()->status, 0u);
  delete_job("slow");
  EXPECT_EQ(text_of(world.judge()), "");
  const uint64_t run = see_history(reader, "A").value().back().number;
  const auto shown = reader.control(control::Operation::show_history, bytes_of(control::HistoryQuery{run, 0, 0}));
  EXPECT_NE(shown->text().find("start: Fri 2027-01-15 08:01:05"), std::string::npos) << shown->text();
  EXPECT_EQ(text_of(world.judge_anew()), "");
}

TEST_F(Stall, of_what_a_run_begins_with_keeps_nobody_from_reading) {
  close_gate();
  world.to_next_minute();
  await_stall();
  expect_readable();
  open_gate();
  EXPECT_EQ(text_of(world.judge()), "");
}

TEST_F(Stall, of_a_runs_outcome_keeps_nobody_from_reading) {
  const auto run = world.run_now(never_due);
  ASSERT_TRUE(run);
  close_gate();
  EXPECT_TRUE(world.kill_run(*run));
  await_stall();
  expect_readable();
  open_gate();
  EXPECT_EQ(text_of(world.judge()), "");
  EXPECT_EQ(text_of(world.judge_anew()), "");
}

TEST_F(Stall, in_which_the_service_is_killed_leaves_the_change_done_or_not_and_what_waited_not) {
  begin_change(first, "slow");
  ASSERT_TRUE(second.send_config(SCH_OP_CREATE_JOB, job_text("next", "")));
  EXPECT_TRUE(shows_schedules(reader));
  EXPECT_TRUE(is_stalled());
  world.kill();
  open_gate();
  EXPECT_FALSE(first.receive());
  ASSERT_TRUE(world.start());
  Client again(host::paths().socket);
  ASSERT_TRUE(again.send_config(SCH_OP_CREATE_JOB, job_text("next", "")));
  EXPECT_EQ(again.receive()->status, 0u) << "as it was not there";
}

TEST_F(Stall, in_which_the_service_is_to_stop_ends_with_the_change_acknowledged) {
  begin_change(first, "slow");
  world.ask_to_stop();
  EXPECT_TRUE(shows_schedules(reader));
  EXPECT_TRUE(is_stalled());
  open_gate();
  EXPECT_EQ(first.receive()->status, 0u);
  while (world.lives())
    usleep(1000);
  ASSERT_TRUE(world.start());
  Client again(host::paths().socket);
  ASSERT_TRUE(again.send_config(SCH_OP_DELETE_JOB, job_text("slow", "", true)));
  EXPECT_EQ(again.receive()->status, 0u) << "as it is there";
}

}  // namespace
}  // namespace oracle
