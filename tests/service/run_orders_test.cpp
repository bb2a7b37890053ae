// SPDX-License-Identifier: Apache-2.0
// Orders about runs and schedules: who may give them, and what they do.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "control/operations.h"
#include "control/statuses.h"
#include "host/status.h"
#include "service/run/history.h"
#include "service/state/tables.h"
#include "tests/service/operator_requests.h"
#include "tests/service/store_faults.h"

namespace service_test {
namespace {

using control::Operation;
using ::testing::SizeIs;

constexpr time_t minute = 60;
constexpr time_t due = noon + 30 * minute;

struct RunOrders : ::testing::Test {
  World world;

  RunOrders() {
    EXPECT_EQ(create_job(world, "own", "echo\n", nobody()), 0u);
    EXPECT_EQ(create_job(world, "endless", "sleep 1000\n", nobody()), 0u);
    EXPECT_EQ(create_schedule(world, "s", {"own"}, daily(12, 30), nobody()), 0u);
    EXPECT_EQ(create_schedule(world, "hangs", {"endless"}, {}, nobody()), 0u);
  }

  uint32_t order(Operation operation, const std::string &schedule, const host::Caller &caller) {
    return ask(world, operation, bytes(schedule), caller).status;
  }
  uint32_t kill(uint64_t run, const host::Caller &caller) {
    return ask(world, Operation::kill_run, query(run), caller).status;
  }
  uint64_t start(const std::string &schedule, const host::Caller &caller) {
    const host::Answer answer = ask(world, Operation::run_schedule, bytes(schedule), caller);
    uint64_t number = 0;
    if (answer.reply && answer.reply->size() == sizeof number)
      std::memcpy(&number, answer.reply->data(), sizeof number);
    return number;
  }
};

TEST_F(RunOrders, a_run_that_is_asked_for_is_recorded_with_who_asked) {
  for (const host::Caller &caller : {nobody(), root()}) {
    const uint64_t number = start("s", caller);
    ASSERT_NE(number, 0u);
    while (!service::find_in_history(*service::find_schedule("s"), number))
      world.loop.turn();
    world.settle();
    EXPECT_EQ(service::find_in_history(*service::find_schedule("s"), number)->outcomes.front().asked_by,
              caller.user_name);
  }
}

TEST_F(RunOrders, on_a_schedule_are_its_owners_and_the_administrators) {
  for (const Operation operation : {Operation::run_schedule, Operation::enable_schedule, Operation::disable_schedule}) {
    EXPECT_EQ(order(operation, "s", daemon_user()), control::err_not_owner);
    EXPECT_EQ(order(operation, "none", root()), control::err_no_such_schedule);
    EXPECT_EQ(order(operation, "", root()), control::err_no_such_schedule);
    EXPECT_EQ(order(operation, "s", remote_user()), SCH_STATUS_NO_PASSWORD);
  }
  EXPECT_TRUE(service::is_enabled(*service::find_schedule("s")->rec));
  EXPECT_EQ(world.parts->runner.under_way(), 0u);
}

TEST_F(RunOrders, on_a_schedule_are_refused_while_the_feature_is_disabled) {
  ASSERT_EQ(ask(world, Operation::disable_feature, {}).status, 0u);
  for (const Operation operation : {Operation::run_schedule, Operation::enable_schedule, Operation::disable_schedule})
    EXPECT_EQ(order(operation, "s", root()), control::err_disabled);
}

TEST_F(RunOrders, on_a_schedule_need_the_group_that_may_configure) {
  auto settings = std::make_shared<service::Settings>();
  settings->allow_groups = {"root"};
  world.parts->context.settings = settings;
  EXPECT_EQ(order(Operation::disable_schedule, "s", nobody()), control::err_not_allowed);
  EXPECT_EQ(order(Operation::disable_schedule, "s", root()), 0u);
}

TEST_F(RunOrders, a_second_run_beside_the_first_is_refused) {
  ASSERT_NE(start("hangs", nobody()), 0u);
  EXPECT_EQ(order(Operation::run_schedule, "hangs", nobody()), control::err_run_under_way);
}

TEST_F(RunOrders, to_end_a_run_are_its_owners_and_the_administrators) {
  const uint64_t run = start("hangs", nobody());
  EXPECT_EQ(kill(run, daemon_user()), control::err_not_owner);
  EXPECT_EQ(kill(run + 1, root()), control::err_no_such_run);
  EXPECT_EQ(ask(world, Operation::kill_run, Bytes(7)).status, host::err_bad_request);
  EXPECT_EQ(world.parts->runner.under_way(), 1u);
  EXPECT_EQ(kill(run, nobody()), 0u);
  world.settle();
  const std::vector<service::HistoryRun> runs = service::read_history(*service::find_schedule("hangs"));
  ASSERT_THAT(runs, SizeIs(1));
  EXPECT_EQ(runs.front().outcomes.front().reason, service::Reason::killed);
}

TEST_F(RunOrders, a_killed_job_keeps_the_code_that_it_ended_with_unless_that_says_success) {
  const std::string begun = world.directory.path() + "/begun";
  for (const auto &[code, kept] :
       {std::pair{"0", service::exit_status(service::Reason::killed)}, std::pair{"7", 7u << 8}}) {
    const std::string name = std::string("exits-") + code;
    ASSERT_EQ(
        create_job(world, name,
                   std::string("trap 'exit ") + code + "' TERM\necho > " + begun + "\nwhile :; do sleep 0.01; done\n"),
        0u);
    ASSERT_EQ(create_schedule(world, name, {name}, {}), 0u);
    const uint64_t run = start(name, root());
    while (!std::filesystem::exists(begun))
      world.loop.turn_without_waiting();
    EXPECT_EQ(kill(run, root()), 0u);
    world.settle();
    const service::HistoryRun ended = service::find_in_history(*service::find_schedule(name), run).value();
    EXPECT_EQ(ended.outcomes.front().reason, service::Reason::killed);
    EXPECT_EQ(ended.outcomes.front().wait_status, kept);
    std::filesystem::remove(begun);
  }
}

TEST_F(RunOrders, a_disabled_schedule_rests_over_a_restart_until_it_is_enabled) {
  ASSERT_EQ(order(Operation::disable_schedule, "s", nobody()), 0u);
  world.restart();
  pass_to(world, due);
  EXPECT_EQ(history(world), "");
  ASSERT_EQ(order(Operation::enable_schedule, "s", root()), 0u);
  EXPECT_EQ(service::state_of(*service::find_schedule("s")->rec).next_due, due + 86400);
}

TEST_F(RunOrders, for_what_is_so_already_succeed_and_store_nothing) {
  const int before = store_commits();
  EXPECT_EQ(order(Operation::enable_schedule, "s", nobody()), 0u);
  EXPECT_EQ(store_commits(), before);
  EXPECT_EQ(order(Operation::disable_schedule, "s", nobody()), 0u);
  EXPECT_EQ(store_commits(), before + 1);
  EXPECT_EQ(order(Operation::disable_schedule, "s", nobody()), 0u);
  EXPECT_EQ(store_commits(), before + 1);
}

}  // namespace
}  // namespace service_test
