// SPDX-License-Identifier: Apache-2.0
// Contexts that a faulty shell could hand over: nothing outside them is read, nothing is sent on a guess.
#include <cstring>

#include "tests/cli/exchange.h"

namespace {

using namespace cli_test;

const std::string missing = "Error: missing or unsuitable parameter\n";

struct Row {
  Command command;                  // with as many parameters as it needs
  std::vector<std::string> errors;  // of each parameter's absence
};

const Row rows[] = {
    {{"create job", sch_cli_create_delete_job, 0, {"backup"}}, {name_rule_message}},
    {{"define job", sch_cli_semicolon_delimiter_define_job, 0, {"backup", "a"}}, {"", ""}},
    {{"create schedule", sch_cli_create_delete_schedule, 0, {"nightly"}}, {name_rule_message}},
    {{"oneshot", sch_cli_modify_schedule, 1, {"nightly", "2027:Jan:1:1:1"}}, {missing, missing}},
    {{"daily", sch_cli_modify_schedule, 3, {"nightly", "10:00"}}, {missing, missing}},
    {{"weekly", sch_cli_modify_schedule, 4, {"nightly", "1:10:00"}}, {missing, missing}},
    {{"monthly", sch_cli_modify_schedule, 5, {"nightly", "1:10:00"}}, {missing, missing}},
    {{"periodic", sch_cli_modify_schedule, 7, {"nightly", "2027:Jan:1:1:1", "10:00"}}, {missing, missing, missing}},
    {{"assign", sch_cli_modify_schedule, 999, {"nightly", "backup"}}, {missing, missing}},
    {{"rename", sch_cli_logfile_rename, 0, {"uri"}}, {missing}},
    {{"sender", sch_cli_config_email_transport, 109, {"a@b"}}, {missing}},
    {{"reply to", sch_cli_config_email_transport, 110, {"a@b"}}, {missing}},
    {{"server", sch_cli_config_email_transport, 111, {"host"}}, {missing}},
    {{"address", sch_cli_modify_schedule_emailaddr, 0, {"nightly", "a@b"}}, {missing, missing}},
};

class BadInput : public CliTest {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    fake.now = 1781521230;
  }
};

TEST_F(BadInput, parameters_that_are_missing_null_or_integers_are_refused) {
  enum { missing_one, null_one, integer_one };
  for (const auto &[command, errors] : rows) {
    for (size_t bad = 0; bad < command.params.size(); ++bad) {
      for (int kind : {missing_one, null_one, integer_one}) {
        // These are no errors: a period without a start is a command, and a URI is no string.
        if (kind == missing_one && command.subcommand == 7 && bad == 2) continue;
        if (kind == integer_one && command.handler == sch_cli_logfile_rename) continue;
        Context context;
        for (size_t i = 0; i < command.params.size(); ++i) {
          if (i < bad || (i > bad && kind != missing_one)) context.string_param(command.params[i]);
          if (i == bad && kind == null_one) context.raw_param(0, SCH_PARAM_STRING, nullptr);
          if (i == bad && kind == integer_one) context.integer_param(0x41414141);
        }
        context->subcommand = command.subcommand;
        EXPECT_TRUE(refused(run(command.handler, context), 255, errors[bad])) << command.title << bad << " " << kind;
      }
    }
  }
}

TEST_F(BadInput, a_refused_user_is_told_so_and_not_of_a_missing_name_or_address) {
  fake.remote_users = {"admin"};
  Context no_name, no_address({"nightly"});
  for (uint32_t subcommand : {SCH_MODIFY_CLEAR_TIME, SCH_MODIFY_JOB, SCH_SCHEDULE_DAILY + 0u}) {
    no_name->subcommand = subcommand;
    EXPECT_TRUE(refused(run(sch_cli_modify_schedule, no_name), 255, status_line("Error", 0x40bd0010)));
  }
  EXPECT_TRUE(refused(run(sch_cli_modify_schedule_emailaddr, no_address), 255, status_line("Error", 0x40bd0010)));
}

TEST_F(BadInput, memory_is_taken_before_parameters_are_looked_at) {
  for (Handler handler : {sch_cli_modify_schedule, sch_cli_modify_schedule_emailaddr, sch_cli_logfile_resize,
                          sch_cli_logfile_rename, sch_cli_config_email_transport}) {
    Context empty;
    empty->subcommand = SCH_EMAIL_FROM;
    fake.libc_alloc = {1, true, 0};
    const Outcome exhausted = run(handler, empty);
    fake.libc_alloc = {};
    EXPECT_TRUE(refused(exhausted, 2, no_memory_message));
    const Outcome outcome = run(handler, empty);
    EXPECT_TRUE(refused(outcome, 255, missing));
    EXPECT_EQ(outcome.freed, 1);
  }
}

TEST_F(BadInput, null_records_and_a_null_array_are_refused) {
  for (const auto &[command, errors] : rows) {
    sch_cli_param *const nulls[3] = {};
    sch_cli_param *const *arrays[] = {nulls, nullptr};
    for (auto *array : arrays) {
      Context context(command.params);
      context->subcommand = command.subcommand;
      sch_cli_cmd_ctx raw = *context.get();
      raw.params = array;
      EXPECT_TRUE(refused(run([&] { return command.handler(&raw); }), 255, errors[0])) << command.title;
    }
  }
}

TEST_F(BadInput, a_size_needs_an_integer) {
  Context none, text, null;
  text.string_param("5");
  null.raw_param(0, SCH_PARAM_INTEGER, nullptr);
  for (Context *context : {&none, &text, &null})
    EXPECT_TRUE(refused(run(sch_cli_logfile_resize, *context), 255, missing));
}

TEST_F(BadInput, a_password_command_without_parameters_in_its_array_sends_what_it_has) {
  sch_cli_param *const nulls[2] = {};
  sch_cli_param *const *arrays[] = {nulls, nullptr};
  for (auto *array : arrays) {
    Context context({"a", "b"});
    sch_cli_cmd_ctx raw = *context.get();
    raw.params = array;
    raw.negate = 1;
    EXPECT_EQ(run([&] { return sch_cli_aaa_auth_passwd(&raw); }).result, 8);
  }
}

TEST_F(BadInput, names_without_terminator_are_taken_whole_and_no_further) {
  const std::string user(32, 'u'), peer(32, 'p');
  for (const auto &[command, errors] : rows) {
    Context context(command.params);
    context->subcommand = command.subcommand;
    std::memcpy(context->user_name, user.data(), user.size());
    std::memcpy(context->peer_name, peer.data(), peer.size());
    fake.requests.clear();
    run(command.handler, context);
    if (command.subcommand == 111) continue;  // refused for its host
    ASSERT_EQ(fake.requests.size(), 1u) << command.title;
    EXPECT_EQ(fake.requests[0].user_name, user);
    EXPECT_EQ(fake.requests[0].peer_name, peer);
  }
  Context context;
  std::memcpy(context->user_name, user.data(), user.size());
  std::memcpy(context->peer_name, peer.data(), peer.size());
  run(sch_enable_scheduler, context);
  EXPECT_EQ(fake.calls.back(), "fm_cmi_set_feature_wait 42 scheduler " + user + " " + peer + " 3");
  run(sch_cli_aaa_auth_passwd, context);
  EXPECT_EQ(fake.security_records.back().user_name, user);
}

TEST_F(BadInput, a_block_without_name_or_text_is_refused) {
  EXPECT_TRUE(refused(run([] { return sch_cli_define_job(1, "a", 1, nullptr, "u", "p"); }), 255, missing));
  EXPECT_TRUE(refused(run([] { return sch_cli_define_job(1, nullptr, 1, "j", "u", "p"); }), 255, missing));
}

TEST_F(BadInput, a_block_longer_than_a_request_can_say_is_out_of_memory) {
  for (uint32_t length : {0xffffffffu, 0xffffffffu - 55})
    EXPECT_TRUE(refused(run([&] { return sch_cli_define_job(1, "a", length, "j", "u", "p"); }), 2, no_memory_message));
}

TEST_F(BadInput, a_block_is_read_to_its_length_only) {
  const std::vector<char> block(16, 'x');  // no terminator behind it
  EXPECT_EQ(run([&] { return sch_cli_define_job(1, block.data(), 16, "j", "u", "p"); }).result, 0);
  EXPECT_EQ(fake.traces(103).back(), "length 16 data xxxxxxxxxxxxxxxx");
}

TEST_F(BadInput, format_characters_in_names_are_text) {
  Context context({"%s%n%s%n", "%s%n"});
  EXPECT_EQ(run(sch_cli_modify_schedule_emailaddr, context).result, 0);
  EXPECT_EQ(fake.traces(103).back(), "to_emailid <%s%n>");
}

}  // namespace
