// SPDX-License-Identifier: Apache-2.0
// Every handler with its Nth allocation, or its transport call, failing once and from then on.
#include <gtest/gtest.h>

#include "tests/cli/exchange.h"

namespace {

using cli_test::Context;
using cli_test::fake;
using cli_test::Handler;
using cli_test::Outcome;
using cli_test::run;

struct Command {
  const char *title;
  Handler handler;
  uint32_t subcommand;
  std::vector<std::string> params;
  int allocations;
};

const std::string long_text = std::string(1500, 'a') + ";" + std::string(1500, 'b') + ";c";

// A negated log-file or transport command needs no parameter.
const Command commands[] = {
    {"create job", sch_cli_create_delete_job, 0, {"backup"}, 1},
    {"define job", sch_cli_semicolon_delimiter_define_job, 0, {"backup", "a;b"}, 2},
    {"define long job", sch_cli_semicolon_delimiter_define_job, 0, {"backup", long_text}, 4},
    {"create schedule", sch_cli_create_delete_schedule, 0, {"nightly"}, 1},
    {"assign", sch_cli_modify_schedule, 999, {"nightly", "backup"}, 1},
    {"clear time", sch_cli_modify_schedule, 1000, {"nightly"}, 1},
    {"resize", sch_cli_logfile_resize, 0, {}, 1},
    {"rename", sch_cli_logfile_rename, 0, {}, 1},
    {"clear", sch_cli_logfile_clear, 0, {}, 1},
    {"server", sch_cli_config_email_transport, 111, {}, 1},
    {"address", sch_cli_modify_schedule_emailaddr, 0, {"nightly", "a@b"}, 1},
};

class Fault : public cli_test::CliTest {
 protected:
  static Outcome attempt(const Command &command, uint32_t negate) {
    Context context(command.params);
    context->subcommand = command.subcommand;
    context->negate = negate;
    return run(command.handler, context);
  }
};

TEST_F(Fault, every_failing_allocation_ends_in_2_with_nothing_sent_and_nothing_left) {
  for (const Command &command : commands) {
    for (int nth = 1; nth <= command.allocations; ++nth) {
      for (bool from_then_on : {false, true}) {
        fake.libc_alloc = {nth, from_then_on, 0};
        const Outcome outcome = attempt(command, 1);
        fake.libc_alloc = {};
        EXPECT_TRUE(cli_test::refused(outcome, 2, "Could not allocate memory\n")) << command.title << nth << outcome;
        EXPECT_LE(outcome.freed, nth - 1) << command.title;
        EXPECT_EQ(outcome.freed, nth == 1 ? 0 : 1) << command.title;  // a grown block is one block
      }
    }
  }
}

TEST_F(Fault, handlers_allocate_as_often_as_the_table_says) {
  for (const Command &command : commands) {
    fake.libc_alloc = {command.allocations + 1, false, 0};
    EXPECT_EQ(attempt(command, 1).result, 0) << command.title;
    EXPECT_EQ(fake.libc_alloc.calls, command.allocations) << command.title;
  }
}

TEST_F(Fault, a_failing_transport_is_reported_once_with_and_without_a_reply) {
  const int text_blocks_behind_the_define = 1;
  for (const Command &command : commands) {
    for (bool replies : {false, true}) {
      fake.transport = {1, true, 0};
      fake.failing_transport_replies = replies;
      fake.serve = [](const auto &) { return platform_test::Reply::with("late answer"); };
      const Outcome outcome = attempt(command, 1);
      EXPECT_EQ(fake.transport.calls, 1) << command.title;
      EXPECT_EQ(outcome.requests.size(), 1u) << command.title;
      EXPECT_NE(outcome.err.find(": " + platform_test::error_text(fake.transport_error) + "\n"), std::string::npos)
          << command.title;
      EXPECT_EQ(outcome.out, "");
      EXPECT_NE(outcome.result, 0);
      const bool defines = command.handler == sch_cli_semicolon_delimiter_define_job;
      EXPECT_EQ(outcome.freed, (defines ? text_blocks_behind_the_define : 0) + (replies ? 2 : 1)) << command.title;
    }
  }
}

TEST_F(Fault, the_block_definition_fails_alike) {
  fake.libc_alloc = {1, false, 0};
  EXPECT_TRUE(cli_test::refused(run([] { return sch_cli_define_job(1, "a\n", 2, "j", "u", "p"); }), 2,
                                "Could not allocate memory\n"));
}

}  // namespace
