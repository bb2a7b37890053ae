// SPDX-License-Identifier: Apache-2.0
// Every handler with its Nth allocation, or its transport call, failing once and from then on.
#include "tests/cli/exchange.h"

namespace {

using namespace cli_test;

const std::string long_text = std::string(1500, 'a') + ";" + std::string(1500, 'b') + ";c";

// Negated, so that a log-file or transport command needs no parameter.
const struct {
  Command command;
  int allocations;
} rows[] = {
    {{"create job", sch_cli_create_delete_job, 0, {"backup"}, 1}, 1},
    {{"define job", sch_cli_semicolon_delimiter_define_job, 0, {"backup", "a;b"}, 1}, 2},
    {{"define long job", sch_cli_semicolon_delimiter_define_job, 0, {"backup", long_text}, 1}, 4},
    {{"create schedule", sch_cli_create_delete_schedule, 0, {"nightly"}, 1}, 1},
    {{"assign", sch_cli_modify_schedule, 999, {"nightly", "backup"}, 1}, 1},
    {{"clear time", sch_cli_modify_schedule, 1000, {"nightly"}, 1}, 1},
    {{"resize", sch_cli_logfile_resize, 0, {}, 1}, 1},
    {{"rename", sch_cli_logfile_rename, 0, {}, 1}, 1},
    {{"clear", sch_cli_logfile_clear, 0, {}, 1}, 1},
    {{"server", sch_cli_config_email_transport, 111, {}, 1}, 1},
    {{"address", sch_cli_modify_schedule_emailaddr, 0, {"nightly", "a@b"}, 1}, 1},
};

class Fault : public CliTest {};

TEST_F(Fault, every_failing_allocation_ends_in_2_with_nothing_sent_and_nothing_left) {
  for (const auto &[command, allocations] : rows) {
    for (int nth = 1; nth <= allocations; ++nth) {
      for (bool from_then_on : {false, true}) {
        fake.libc_alloc = {nth, from_then_on, 0};
        const Outcome outcome = run(command);
        fake.libc_alloc = {};
        EXPECT_TRUE(refused(outcome, 2, no_memory_message)) << command.title << nth << outcome;
        EXPECT_LE(outcome.freed, nth - 1) << command.title;
        EXPECT_EQ(outcome.freed, nth == 1 ? 0 : 1) << command.title;  // a grown block is one block
      }
    }
  }
}

TEST_F(Fault, handlers_allocate_as_often_as_the_table_says) {
  for (const auto &[command, allocations] : rows) {
    fake.libc_alloc = {allocations + 1, false, 0};
    EXPECT_EQ(run(command).result, 0) << command.title;
    EXPECT_EQ(fake.libc_alloc.calls, allocations) << command.title;
  }
}

TEST_F(Fault, a_failing_transport_is_reported_once_with_and_without_a_reply) {
  const int text_blocks_behind_the_define = 1;
  for (const auto &[command, allocations] : rows) {
    for (bool replies : {false, true}) {
      fake.transport = {1, true, 0};
      fake.failing_transport_replies = replies;
      fake.serve = [](const auto &) { return Reply::with("late answer"); };
      const Outcome outcome = run(command);
      EXPECT_EQ(fake.transport.calls, 1) << command.title;
      EXPECT_EQ(outcome.requests.size(), 1u) << command.title;
      EXPECT_NE(outcome.err.find(": " + error_text(fake.transport_error) + "\n"), std::string::npos) << command.title;
      EXPECT_EQ(outcome.out, "");
      EXPECT_NE(outcome.result, 0);
      const bool defines = command.handler == sch_cli_semicolon_delimiter_define_job;
      EXPECT_EQ(outcome.freed, (defines ? text_blocks_behind_the_define : 0) + (replies ? 2 : 1)) << command.title;
    }
  }
}

TEST_F(Fault, the_block_definition_fails_alike) {
  fake.libc_alloc = {1, false, 0};
  EXPECT_TRUE(refused(run([] { return sch_cli_define_job(1, "a\n", 2, "j", "u", "p"); }), 2, no_memory_message));
}

}  // namespace
