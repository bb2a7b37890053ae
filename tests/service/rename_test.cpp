// SPDX-License-Identifier: Apache-2.0
// A job or schedule under another name is the same one: what belongs to it goes with it, in memory and on disk.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <sstream>

#include "control/operations.h"
#include "control/statuses.h"
#include "host/status.h"
#include "service/run/history.h"
#include "service/state/address_table.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"
#include "tests/service/operator_requests.h"
#include "tests/service/store_faults.h"

namespace service_test {
namespace {

using control::ObjectKind;

constexpr time_t half_past = noon + 30 * 60;

struct Rename : ::testing::Test {
  World world;

  Rename() {
    EXPECT_EQ(create_job(world, "job", std::string(3000, 'x') + "\n"), 0u);
    EXPECT_EQ(create_job(world, "other", "exit 3\n"), 0u);
    EXPECT_EQ(create_job(world, "own", "echo\n", nobody()), 0u);
    EXPECT_EQ(create_schedule(world, "s", {"job", "other"}, daily(12, 30)), 0u);
    EXPECT_EQ(create_schedule(world, "bare", {}, {}), 0u);
    EXPECT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_SCHEDULE_EMAIL, address_payload(SCH_EMAIL_ADD, "s", "a@b"))
                  .status,
              0u);
    due_now(world, half_past);
    world.settle();
  }

  uint32_t rename(ObjectKind kind, const std::string &from, const std::string &to,
                  const host::Caller &caller = root()) {
    return ask(world, control::Operation::rename, query(kind, from + std::string(1, '\0') + to), caller).status;
  }

  // The statuses of a job are in no order that anybody sees.
  static std::string without_order(const std::string &text) {
    std::istringstream lines(text);
    std::multiset<std::string> all;
    for (std::string line; std::getline(lines, line);)
      all.insert(line);
    std::string joined;
    for (const std::string &line : all)
      joined += line + "\n";
    return joined;
  }

  static std::string replaced(std::string text, const std::string &from, const std::string &to) {
    for (size_t at = 0; (at = text.find(from, at)) != text.npos; at += to.size())
      text.replace(at, from.size(), to);
    return text;
  }
};

TEST_F(Rename, a_job_keeps_its_text_its_schedules_and_its_statuses_over_a_restart) {
  const std::string before = configuration(), text = shown_text(world, "job");
  const int records = stored_records(pss_running), of_runs = stored_records(pss_running_db);
  ASSERT_EQ(rename(ObjectKind::job, "job", "task"), 0u);
  for (const bool again : {false, true}) {
    if (again) world.restart();
    EXPECT_EQ(configuration(), replaced(before, "job 0 job ", "job 0 task "));
    EXPECT_EQ(shown_text(world, "task"), text);
    EXPECT_EQ(service::find_job("job"), nullptr);
    EXPECT_EQ(service::find_status(sch_job_list[0], "s")->words[1], half_past);
    EXPECT_TRUE(service::has_job(*service::find_schedule("s")->rec, 0));
    EXPECT_EQ(stored_records(pss_running), records);
    EXPECT_EQ(stored_records(pss_running_db), of_runs);
  }
}

TEST_F(Rename, a_schedule_keeps_its_time_jobs_addresses_runs_and_statuses_over_a_restart) {
  const service::ScheduleState state = state_of_schedule("s");
  const sch_schedule_rec rec = *service::find_schedule("s")->rec;
  const int records = stored_records(pss_running), of_runs = stored_records(pss_running_db);
  ASSERT_EQ(rename(ObjectKind::schedule, "s", "a-longer-name"), 0u);
  for (const bool again : {false, true}) {
    if (again) world.restart();
    EXPECT_EQ(service::find_schedule("s"), nullptr);
    EXPECT_EQ(service::find_addresses("s"), nullptr);
    ASSERT_NE(service::find_schedule("a-longer-name"), nullptr);
    const sch_schedule_entry &entry = *service::find_schedule("a-longer-name");
    EXPECT_EQ(std::memcmp(entry.rec, &rec, sizeof rec), 0);
    EXPECT_EQ(state_of_schedule("a-longer-name").next_due, state.next_due);
    ASSERT_NE(service::find_addresses("a-longer-name"), nullptr);
    EXPECT_STREQ(service::find_addresses("a-longer-name")->slots[0].address, "a@b");
    EXPECT_EQ(service::read_history(entry).size(), 1u);
    for (const uint32_t id : {0, 1}) {
      ASSERT_NE(service::find_status(sch_job_list[id], "a-longer-name"), nullptr);
      EXPECT_EQ(service::find_status(sch_job_list[id], "a-longer-name")->words[0], id == 1 ? 3u << 8 : 127u << 8);
      EXPECT_EQ(service::find_status(sch_job_list[id], "s"), nullptr);
    }
    EXPECT_EQ(stored_records(pss_running), records);
    EXPECT_EQ(stored_records(pss_running_db), of_runs);
  }
}

TEST_F(Rename, back_again_leaves_everything_as_it_was) {
  const std::string before = configuration();
  for (const auto &[kind, name] : {std::pair{ObjectKind::job, "job"}, std::pair{ObjectKind::schedule, "s"}}) {
    ASSERT_EQ(rename(kind, name, "between"), 0u);
    ASSERT_EQ(rename(kind, "between", name), 0u);
  }
  world.restart();
  EXPECT_EQ(without_order(configuration()), without_order(before));
}

TEST_F(Rename, what_cannot_be_renamed_is_told_and_nothing_changes) {
  ASSERT_EQ(create_schedule(world, "hangs", {"other"}, {}), 0u);
  service::change_state(*service::find_schedule("hangs"),
                        [](service::ScheduleState &state) { state.running_since = 1; });
  struct {
    const char *what;
    ObjectKind kind;
    std::string from, to;
    uint32_t status;
    host::Caller caller = root();
  } const rows[] = {
      {"a job that there is not", ObjectKind::job, "none", "new", control::err_no_such_job},
      {"a job that there is not, to the same name", ObjectKind::job, "none", "none", control::err_no_such_job},
      {"a schedule that there is not", ObjectKind::schedule, "none", "new", control::err_no_such_schedule},
      {"a schedule that there is not, to the same name", ObjectKind::schedule, "none", "none",
       control::err_no_such_schedule},
      {"a job to another's name", ObjectKind::job, "job", "other", SCH_STATUS_EXISTS},
      {"a schedule to another's name", ObjectKind::schedule, "s", "bare", SCH_STATUS_EXISTS},
      {"a job to no name", ObjectKind::job, "job", "", control::err_bad_name},
      {"a job to two names", ObjectKind::job, "job", std::string("a\0b", 3), control::err_bad_name},
      {"something else", static_cast<ObjectKind>(7), "job", "new", host::err_bad_value},
      {"root's job by another user", ObjectKind::job, "job", "new", control::err_not_owner, nobody()},
      {"root's job by another user, to the same name", ObjectKind::job, "job", "job", control::err_not_owner, nobody()},
      {"root's schedule by another user", ObjectKind::schedule, "s", "new", control::err_not_owner, nobody()},
      {"root's schedule by another user, to the same name", ObjectKind::schedule, "s", "s", control::err_not_owner,
       nobody()},
      {"a schedule with a run under way", ObjectKind::schedule, "hangs", "new", control::err_run_under_way},
  };
  const std::string before = configuration();
  const int writes = store_writes();
  for (const auto &row : rows) {
    EXPECT_EQ(rename(row.kind, row.from, row.to, row.caller), row.status) << row.what;
    EXPECT_EQ(configuration(), before) << row.what;
  }
  EXPECT_EQ(ask(world, control::Operation::rename, query(ObjectKind::job, "job")).status, host::err_bad_request);
  for (const auto &[kind, name] : {std::pair{ObjectKind::job, "job"}, std::pair{ObjectKind::schedule, "s"}})
    EXPECT_EQ(rename(kind, name, name), 0u);
  EXPECT_EQ(store_writes(), writes);
  EXPECT_EQ(configuration(), before);
}

TEST_F(Rename, a_job_and_a_schedule_may_have_the_same_name) {
  EXPECT_EQ(rename(ObjectKind::job, "job", "s"), 0u);
  EXPECT_EQ(rename(ObjectKind::schedule, "s", "own"), 0u);
  EXPECT_NE(service::find_job("s"), nullptr);
  EXPECT_NE(service::find_schedule("own"), nullptr);
}

TEST_F(Rename, a_store_that_refuses_at_any_call_leaves_memory_and_disk_as_they_were) {
  for (const auto &[kind, name] : {std::pair{ObjectKind::job, "job"}, std::pair{ObjectKind::schedule, "s"}}) {
    const std::string before = configuration();
    for (int nth = 1;; nth++) {
      fail_store_call(nth);
      const uint32_t status = rename(kind, name, "new");
      const bool failed = store_call_failed();
      fail_store_call(0);
      if (status == 0) {
        EXPECT_GE(nth, 3);
        break;
      }
      EXPECT_TRUE(failed);
      EXPECT_EQ(status, control::err_not_stored) << name << " " << nth;
      ASSERT_EQ(without_order(configuration()), without_order(before)) << name << " " << nth;
      world.restart();
      ASSERT_EQ(without_order(configuration()), without_order(before)) << name << " " << nth;
    }
    ASSERT_EQ(rename(kind, "new", name), 0u);
  }
}

}  // namespace
}  // namespace service_test
