// SPDX-License-Identifier: Apache-2.0
// What is left of a job or schedule that is gone is nobody else's, and what is not known is not shown as a success.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "control/operations.h"
#include "control/statuses.h"
#include "service/request/control.h"
#include "service/request/logging_level.h"
#include "service/run/outcome.h"
#include "service/run/run_record.h"
#include "service/state/address_table.h"
#include "service/state/run_state.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"
#include "tests/service/operator_requests.h"
#include "tests/service/store_faults.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using ::testing::SizeIs;

constexpr time_t half_past = noon + 30 * 60, days = 86400;

struct Inheritance : ::testing::Test {
  World world;

  uint32_t send(uint32_t opcode, const Bytes &payload) {
    return world.send(root(), SCH_SERVICE_CONFIG, opcode, payload).status;
  }
  uint32_t control(control::Operation operation, const Bytes &payload = {}) {
    return service::control({world.parts->context, root()}, operation, payload).status;
  }
  void configure(const std::vector<std::string> &jobs) {
    for (const std::string &job : jobs)
      ASSERT_EQ(create_job(world, job, "exit 3\n"), 0u);
    ASSERT_EQ(create_schedule(world, "s", jobs, daily(12, 30)), 0u);
  }
  void save_and_boot_from_it() {
    ASSERT_EQ(control(control::Operation::copy_running_startup), 0u);
    world.settings.boot_from = service::BootFrom::startup;
  }
  // What is stored of its runs is then not of the schedule as it was saved.
  void configure_anew() { ASSERT_EQ(send(SCH_OP_MODIFY_SCHEDULE, time_payload("s", daily(12, 30))), 0u); }

  // The request is granted, and what belongs to it in the store of the runs cannot be deleted: of its store calls the
  // first whose failure does not refuse it.
  void delete_and_leave(uint32_t opcode, const Bytes &payload) {
    uint32_t status = control::err_not_stored;
    for (int nth = 1; status == control::err_not_stored; nth++) {
      fail_store_call(nth);
      status = send(opcode, payload);
    }
    EXPECT_EQ(status, 0u);
    EXPECT_TRUE(store_call_failed());
    fail_store_call(0);
  }
};

TEST_F(Inheritance, of_a_deleted_schedules_addresses_there_is_none) {
  configure({"job"});
  const Bytes address = address_payload(SCH_EMAIL_ADD, "s", "ops@example.org");
  ASSERT_EQ(send(SCH_OP_SCHEDULE_EMAIL, address), 0u);
  ASSERT_EQ(send(SCH_OP_DELETE_SCHEDULE, schedule_payload("s")), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"job"}, daily(12, 30)), 0u);
  EXPECT_EQ(service::find_addresses("s"), nullptr);
  world.restart();
  EXPECT_EQ(service::find_addresses("s"), nullptr);
}

TEST_F(Inheritance, of_a_deleted_schedules_runs_there_is_none) {
  configure({"job"});
  due_now(world, half_past);
  world.settle();
  ASSERT_EQ(send(SCH_OP_DELETE_SCHEDULE, schedule_payload("s")), 0u);
  EXPECT_EQ(stored_records(pss_running_db), 2);  // whose the job's statuses are, and the counters
}

TEST_F(Inheritance, a_namesake_of_a_job_has_no_status_that_could_not_be_deleted) {
  configure({"job"});
  due_now(world, half_past);
  world.settle();
  delete_and_leave(SCH_OP_DELETE_JOB, job_payload("job"));
  ASSERT_EQ(create_job(world, "job", ""), 0u);
  world.restart();
  EXPECT_EQ(sch_job_list[0].status_list, nullptr);
}

TEST_F(Inheritance, a_namesake_of_a_schedule_has_no_status_that_could_not_be_deleted) {
  configure({"job", "other"});
  due_now(world, half_past);
  world.settle();
  delete_and_leave(SCH_OP_DELETE_SCHEDULE, schedule_payload("s"));
  ASSERT_EQ(create_schedule(world, "s", {"job"}, daily(12, 30)), 0u);
  due_now(world, half_past + days);
  world.settle();
  world.restart();
  EXPECT_NE(service::find_status(sch_job_list[0], "s"), nullptr);
  EXPECT_EQ(service::find_status(sch_job_list[1], "s"), nullptr);
}

TEST_F(Inheritance, a_schedule_of_a_name_that_another_had_before_has_none_of_its_statuses) {
  configure({"job"});
  due_now(world, half_past);
  world.settle();
  const auto kind = static_cast<uint32_t>(control::ObjectKind::schedule);
  ASSERT_EQ(control(control::Operation::rename, query(kind, std::string_view("s\0t", 3))), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"job"}, daily(12, 45)), 0u);
  world.restart();
  EXPECT_NE(service::find_status(sch_job_list[0], "t"), nullptr);
  EXPECT_EQ(service::find_status(sch_job_list[0], "s"), nullptr);
}

TEST_F(Inheritance, nothing_is_created_while_what_is_left_of_something_else_cannot_be_deleted) {
  configure({"job"});
  due_now(world, half_past);
  world.settle();
  delete_and_leave(SCH_OP_DELETE_JOB, job_payload("job"));
  fail_store_call(1);
  EXPECT_EQ(create_job(world, "job", ""), control::err_not_stored);
  fail_store_call(1);
  EXPECT_EQ(create_schedule(world, "other", {}, {}), control::err_not_stored);
  fail_store_call(0);
  EXPECT_EQ(create_job(world, "job", ""), 0u);
  EXPECT_EQ(create_schedule(world, "other", {}, {}), 0u);
}

TEST_F(Inheritance, a_second_deletion_does_not_make_good_for_the_first) {
  configure({"job", "other"});
  due_now(world, half_past);
  world.settle();
  delete_and_leave(SCH_OP_DELETE_JOB, job_payload("job"));
  ASSERT_EQ(send(SCH_OP_DELETE_JOB, job_payload("other")), 0u);
  ASSERT_EQ(send(SCH_OP_DELETE_SCHEDULE, schedule_payload("s")), 0u);
  EXPECT_TRUE(world.parts->context.stale_statuses);
}

TEST_F(Inheritance, a_due_time_of_which_no_job_tells_is_not_taken_again_after_a_boot) {
  configure({});
  save_and_boot_from_it();
  configure_anew();
  due_now(world, half_past);
  world.settle();
  set_clock(half_past + 5);
  world.boot();
  world.settle();
  EXPECT_THAT(log_of(world), SizeIs(1));
  EXPECT_EQ(state_of_schedule("s").next_due, half_past + days);
}

TEST_F(Inheritance, what_a_clock_that_had_been_wrong_took_keeps_nothing_from_being_due_after_a_boot) {
  configure({});
  save_and_boot_from_it();
  configure_anew();
  due_now(world, half_past + 400 * days);
  world.settle();
  set_clock(noon);
  world.parts->scheduler.clock_set(-400 * days);
  world.settle();
  world.boot();
  EXPECT_EQ(state_of_schedule("s").next_due, half_past);
}

// As a state directory of an older version has it.
TEST_F(Inheritance, a_run_that_ended_in_its_due_second_is_not_missed_after_a_boot_when_only_its_job_tells_of_it) {
  configure({"job"});
  save_and_boot_from_it();
  due_now(world, half_past);
  world.settle();
  sch_runtime_key key = service::run_key(service::run_state_key, 0, "s");
  const pss_buf name = {&key, sizeof key};
  ASSERT_EQ(pss_delete(pss_running_db, &name), 0u);
  set_clock(half_past + 600);
  world.boot();
  world.settle();
  EXPECT_THAT(log_of(world), SizeIs(1));
  EXPECT_EQ(state_of_schedule("s").next_due, half_past + days);
}

TEST_F(Inheritance, a_level_that_was_not_saved_stays_over_a_restart_and_not_over_a_boot) {
  const auto set_level = [this](int32_t level) {
    Bytes payload(sizeof level);
    std::memcpy(payload.data(), &level, sizeof level);
    ASSERT_EQ(control(control::Operation::set_logging_level, payload), 0u);
  };
  set_level(6);
  save_and_boot_from_it();
  set_level(2);
  world.restart();
  EXPECT_EQ(service::logging_level(debug_pss_running), 2);
  world.boot();
  EXPECT_EQ(service::logging_level(debug_pss_running), 6);
}

uint32_t shown_status(World &world, const std::string &schedule, size_t nth) {
  const host::Answer answer = world.send(root(), SCH_SERVICE_SHOW, SCH_OP_SHOW_SCHEDULE, show_payload(schedule));
  sch_job_status_entry entry = {};
  const size_t place = sizeof(sch_show_schedule_reply) + nth * sizeof entry;
  if (!answer.reply || answer.reply->size() < place + sizeof entry) return UINT32_MAX;
  std::memcpy(&entry, answer.reply->data() + place, sizeof entry);
  return entry.wait_status;
}

TEST_F(Inheritance, a_job_that_never_ran_in_a_schedule_that_has_is_shown_as_no_success) {
  configure({"job"});
  ASSERT_EQ(create_job(world, "later", "true\n"), 0u);
  due_now(world, half_past);
  world.settle();
  const Bytes assigned = modify_payload("s", SCH_MODIFY_JOB, false, "later");
  ASSERT_EQ(send(SCH_OP_MODIFY_SCHEDULE, assigned), 0u);
  EXPECT_EQ(shown_status(world, "s", 0), 3u << 8);
  EXPECT_EQ(shown_status(world, "s", 1), 110u << 8);
  due_now(world, half_past + days);
  EXPECT_EQ(shown_status(world, "s", 1), 0u);
}

}  // namespace
}  // namespace service_test
