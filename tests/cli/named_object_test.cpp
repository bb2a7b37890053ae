// SPDX-License-Identifier: Apache-2.0
// Creating and deleting jobs and schedules; a schedule's addresses; the feature itself.
#include "tests/cli/exchange.h"

namespace {

using namespace cli_test;

class NamedObject : public CliTest {
 protected:
  static Outcome answered(const Command &command, uint32_t status) {
    fake.replies = {Reply::with("answer", status)};
    return run(command);
  }
};

TEST_F(NamedObject, a_long_name_is_sent_cut_to_31_characters) {
  for (const size_t length : {31u, 32u, 40u}) {
    const std::string name(length, 'n'), cut(31, 'n');
    EXPECT_THAT(run({"", sch_cli_create_delete_job, 0, {name}}).requests,
                ElementsAre(job_request(SCH_OP_CREATE_JOB, cut)));
    EXPECT_THAT(run({"", sch_cli_create_delete_schedule, 0, {name}}).requests,
                ElementsAre(named_request(SCH_OP_CREATE_SCHEDULE, cut)));
  }
}

TEST_F(NamedObject, refusals_by_status) {
  const Handler job = sch_cli_create_delete_job, schedule = sch_cli_create_delete_schedule,
                address = sch_cli_modify_schedule_emailaddr;
  const struct {
    Handler handler;
    uint32_t negate, status;
    int result;
    std::string err;
  } rows[] = {
      {job, 0, exists, 255, "Error: job exists\n"},
      {job, 1, exists, 255, "Error: job exists\n"},
      {job, 0, other_failure, 255, status_line("Error: create job failed", other_failure)},
      {job, 1, other_failure, 255, status_line("Error: delete job failed", other_failure)},
      {schedule, 0, exists, static_cast<int>(exists), ""},  // it is entered
      {schedule, 0, other_failure, 255, status_line("Error: create schedule failed", other_failure)},
      {schedule, 1, exists, static_cast<int>(exists), status_line("Error: delete schedule failed", exists)},
      {schedule, 1, other_failure, other_failure, status_line("Error: delete schedule failed", other_failure)},
      {address, 0, exists, static_cast<int>(exists), status_line("Error: could add email-id", exists)},
      {address, 1, other_failure, other_failure, status_line("Error: could not delete email-id", other_failure)},
  };
  for (const auto &row : rows) {
    const Outcome outcome = answered({"", row.handler, 0, {"nightly", "a@b"}, row.negate}, row.status);
    EXPECT_EQ(outcome.result, row.result) << outcome;
    EXPECT_EQ(outcome.err, row.err);
    EXPECT_EQ(outcome.out, "");
  }
}

TEST_F(NamedObject, address_and_its_schedule_are_cut_to_their_fields_and_not_checked) {
  const std::string schedule = "_" + std::string(40, 'n'), address(70, 'a');
  EXPECT_THAT(run({"", sch_cli_modify_schedule_emailaddr, 0, {schedule, address}, 2}).requests,
              ElementsAre(request<sch_schedule_email_request>(SCH_OP_SCHEDULE_EMAIL, [&](auto &record) {
                record.operation = SCH_EMAIL_REMOVE;
                put(record.schedule, schedule.substr(0, 31));
                put(record.address, address.substr(0, 63));
              })));
}

TEST_F(NamedObject, the_feature_tolerates_the_status_of_its_form_after_the_message) {
  const struct {
    uint32_t negate, status;
    int result;
  } rows[] = {{0, 0x40aa0005, 0}, {0, 0x40aa0006, 1}, {0, 0x40be0001, 1},
              {1, 0x40aa0006, 0}, {1, 0x40aa0005, 1}, {1, 0x40be0001, 1}};
  for (const auto &row : rows) {
    fake.calls.clear();
    fake.feature_result = row.status;
    EXPECT_TRUE(
        refused(run({"", sch_enable_scheduler, 0, {}, row.negate}), row.result, status_line("Error", row.status)));
    EXPECT_EQ(fake.calls.size(), 1u) << "the shell keeps its commands";
  }
  fake.feature_result = 0;
  fake.errors["vsh_deregister_parse_tree"] = 5;
  EXPECT_TRUE(refused(run({"", sch_enable_scheduler, 0, {}, 1}), 0, "")) << "a shell that keeps them is no failure";
}

}  // namespace
