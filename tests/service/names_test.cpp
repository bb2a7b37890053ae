// SPDX-License-Identifier: Apache-2.0
// What a shell asks for while its user types: names, what there is of a name, and outputs as they were.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "control/operations.h"
#include "control/statuses.h"
#include "host/status.h"
#include "service/state/tables.h"
#include "tests/service/operator_requests.h"

namespace service_test {
namespace {

using control::ObjectKind;
using control::Operation;
using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr time_t half_past = noon + 30 * 60;

struct Typed : ::testing::Test {
  World world;

  Typed() {
    create_good_bad_and_own_job(world);
    EXPECT_EQ(create_schedule(world, "nightly", {"good", "bad"}, daily(12, 30)), 0u);
    EXPECT_EQ(create_schedule(world, "night", {"good"}, {}), 0u);
    EXPECT_EQ(create_schedule(world, "nobodys", {"own"}, daily(12, 30), nobody()), 0u);
  }

  std::string names(ObjectKind kind, const std::string &beginning = {}, const host::Caller &caller = root()) {
    return text_of(ask(world, Operation::names, query(kind, beginning), caller));
  }
  std::string found(ObjectKind kind, const std::string &name, const host::Caller &caller = root()) {
    const host::Answer answer = ask(world, Operation::find, query(kind, name), caller);
    return answer.status == 0 && !answer.reply ? "there" : text_of(answer);
  }
  std::string outputs(uint64_t run, const host::Caller &caller = root()) {
    const host::Answer answer = ask(world, Operation::raw_output, query(run), caller);
    if (answer.status != 0) return "(status " + std::to_string(answer.status) + ")";
    std::string text;
    while (const std::optional<host::Bytes> piece = answer.next()) {
      EXPECT_LE(piece->size(), 32u * 1024);
      text.append(reinterpret_cast<const char *>(piece->data()), piece->size());
    }
    return text;
  }
  static std::string status(uint32_t number) { return "(status " + std::to_string(number) + ")"; }
};

TEST_F(Typed, names_come_in_order_and_only_those_that_begin_so) {
  EXPECT_EQ(names(ObjectKind::job), "bad\ngood\nown\n");
  EXPECT_EQ(names(ObjectKind::schedule), "night\nnightly\nnobodys\n");
  EXPECT_EQ(names(ObjectKind::schedule, "nightl"), "nightly\n");
  EXPECT_EQ(names(ObjectKind::schedule, "x"), "");
  EXPECT_EQ(names(ObjectKind::user), "nobody\nroot\n");
  EXPECT_EQ(names(static_cast<ObjectKind>(9)), status(host::err_bad_value));
}

TEST_F(Typed, names_of_others_are_the_administrators_alone) {
  EXPECT_EQ(names(ObjectKind::job, {}, nobody()), "own\n");
  EXPECT_EQ(names(ObjectKind::schedule, {}, nobody()), "nobodys\n");
  EXPECT_EQ(names(ObjectKind::user, {}, nobody()), "nobody\n");
  EXPECT_EQ(names(ObjectKind::job, {}, daemon_user()), "");
  EXPECT_EQ(names(ObjectKind::user, {}, daemon_user()), "daemon\n");
}

TEST_F(Typed, a_thousand_names_are_enough_and_are_the_first) {
  service::ScheduleState state = {};
  state.owner_tag = root().uid + 1;
  for (int i = 0; i < 1001; i++)
    ASSERT_NE(service::add_schedule("z" + std::to_string(2000 - i), state), nullptr);
  const std::string all = names(ObjectKind::schedule, "z");
  EXPECT_EQ(std::ranges::count(all, '\n'), 1000);
  EXPECT_THAT(all, ::testing::StartsWith("z1000\nz1001\n"));
  EXPECT_THAT(all, EndsWith("z1999\n"));
}

TEST_F(Typed, a_job_that_is_asked_for_is_told_with_its_schedules_and_a_schedule_without) {
  EXPECT_EQ(found(ObjectKind::job, "good"), "night\nnightly\n");
  EXPECT_EQ(found(ObjectKind::job, "none"), status(control::err_no_such_job));
  EXPECT_EQ(found(ObjectKind::job, "good", nobody()), status(control::err_not_owner));
  EXPECT_EQ(found(ObjectKind::schedule, "night"), "there");
  EXPECT_EQ(found(ObjectKind::schedule, "none"), status(control::err_no_such_schedule));
  EXPECT_EQ(found(ObjectKind::schedule, "night", nobody()), status(control::err_not_owner));
  EXPECT_EQ(found(ObjectKind::user, "root"), status(host::err_bad_value));
}

TEST_F(Typed, outputs_are_those_of_a_run_as_they_were_or_all_with_a_line_before_each) {
  pass_to(world, half_past);
  const uint64_t of_root = history(world, {}, "nightly").find("\n1  ") != std::string::npos ? 1 : 2;
  EXPECT_EQ(outputs(of_root), "fine\n");
  EXPECT_EQ(outputs(3 - of_root), "mine\n");
  EXPECT_EQ(outputs(7), status(control::err_no_output_of_run));
  const std::string all = outputs(0);
  EXPECT_THAT(all, HasSubstr("===== run " + std::to_string(of_root) +
                             ", schedule nightly, job good, user root, exit code 0, ended Sat Nov 21 12:30:00 2026 "
                             "=====\nfine\n"));
  EXPECT_THAT(all, HasSubstr(", schedule nightly, job bad, user root, exit code 3, ended "));
  EXPECT_THAT(all, HasSubstr("=====\nmine\n"));
  EXPECT_EQ(outputs(of_root, nobody()), status(control::err_no_output_of_run));
  EXPECT_EQ(outputs(3 - of_root, nobody()), "mine\n");
  EXPECT_EQ(outputs(0, nobody()).find("fine"), std::string::npos);
  EXPECT_EQ(outputs(0, daemon_user()), "");
}

TEST_F(Typed, outputs_without_a_run_are_none_and_no_failure) {
  EXPECT_EQ(outputs(0), "");
}

TEST_F(Typed, the_status_counts_what_runs_and_what_waits_for_each_user) {
  world.settings.max_parallel = 1;
  world.use(world.settings);
  ASSERT_EQ(create_job(world, "endless", "sleep 1000\n"), 0u);
  for (const char *name : {"a", "b", "c"}) {
    ASSERT_EQ(create_schedule(world, name, {"endless"}, {}), 0u);
    ASSERT_EQ(ask(world, Operation::run_schedule, bytes(name)).status, 0u);
  }
  world.parts->scheduler.check();
  const std::string shown = text_of(ask(world, Operation::status, {}));
  EXPECT_THAT(shown, HasSubstr("\nruns under way: 1\nruns waiting: 2\n"));
  EXPECT_THAT(shown, HasSubstr("\nshare of root: schedules 5, jobs 3, runs 1, waiting 2\n"));
  EXPECT_THAT(shown, HasSubstr("\nshare of nobody: schedules 1, jobs 1, runs 0, waiting 0\n"));
  EXPECT_THAT(text_of(ask(world, Operation::status, {}, nobody())),
              EndsWith("\nshare of nobody: schedules 1, jobs 1, runs 0, waiting 0\n"));
}

}  // namespace
}  // namespace service_test
