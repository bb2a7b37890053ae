// SPDX-License-Identifier: Apache-2.0
// What every handler shares: the transport's arguments, the name rule, the user check, cli_debug and the trace's sinks.
#include <regex.h>

#include <cstring>

#include "db/text_field.h"
#include "tests/cli/exchange.h"

namespace {
bool regcomp_fails;
int regcomp_flags;
}  // namespace

extern "C" {
int __real_regcomp(regex_t *rule, const char *pattern, int flags);
int __wrap_regcomp(regex_t *rule, const char *pattern, int flags) {
  regcomp_flags = flags;
  return regcomp_fails ? REG_ESPACE : __real_regcomp(rule, pattern, flags);
}
}

namespace {

using namespace cli_test;

class HandlersRequest : public CliTest {
 protected:
  void TearDown() override {
    regcomp_fails = false;
    CliTest::TearDown();
  }
};

// A platform may keep the pointers as long as the shell keeps the context.
TEST_F(HandlersRequest, a_terminated_name_is_handed_on_where_it_stands_and_a_full_one_copied) {
  char field[4] = {'a', 'b', '\0', 'x'};
  const FieldText ended(field);
  EXPECT_EQ(ended.text, field);
  std::memcpy(field, "abc", sizeof field);
  const FieldText longest(field);
  EXPECT_EQ(longest.text, field);
  std::memcpy(field, "abcd", sizeof field);
  const FieldText full(field);
  EXPECT_NE(full.text, field);
  EXPECT_STREQ(full.text, "abcd");
}

TEST_F(HandlersRequest, names_follow_the_rule) {
  const struct {
    const char *name;
    bool allowed;
  } rows[] = {{"a", true},      {"Z", true},    {"0", true},     {"9", true},     {"a-b_c9", true},    {"A--__", true},
              {"a1b2C3", true}, {"", false},    {"_a", false},   {"-a", false},   {"a b", false},      {"a.b", false},
              {"a/b", false},   {"a\n", false}, {"a\nb", false}, {"\nab", false}, {"\xc3\xa4", false}, {"a$", false},
              {" a", false},    {"a;b", false}, {"[", false},    {"a*", false},   {"a@", false},       {"a`", false},
              {"{", false},     {"a:", false},  {"a^", false}};
  for (Handler handler : {sch_cli_create_delete_job, sch_cli_create_delete_schedule}) {
    for (const auto &row : rows) {
      Context context({row.name});
      const auto outcome = run(handler, context);
      EXPECT_EQ(outcome.result, row.allowed ? 0 : 255) << row.name;
      EXPECT_EQ(outcome.err, row.allowed ? "" : name_rule_message) << row.name;
      EXPECT_EQ(outcome.requests.size(), row.allowed ? 1u : 0u) << row.name;
    }
  }
}

TEST_F(HandlersRequest, the_rule_is_a_basic_expression) {
  regcomp_flags = -1;
  Context context({"a"});
  EXPECT_EQ(run(sch_cli_create_delete_job, context).result, 0);
  EXPECT_EQ(regcomp_flags, 0);
}

TEST_F(HandlersRequest, a_rule_that_does_not_compile_allows_no_name) {
  regcomp_fails = true;
  Context context({"a"});
  EXPECT_TRUE(refused(run(sch_cli_create_delete_job, context), 255, name_rule_message));
}

TEST_F(HandlersRequest, the_first_failed_user_check_ends_the_command) {
  fake.remote_users = {"admin"};
  for (const Command &row : checked_commands) {
    fake.calls.clear();
    EXPECT_TRUE(refused(run(row), 255, status_line("Error", 0x40bd0010))) << row.title;
    EXPECT_EQ(fake.calls_with("check_if_user_remote").size(), 1u) << row.title;
  }
}

TEST_F(HandlersRequest, the_second_answer_of_the_user_check_counts_too) {
  for (const Command &row : checked_commands) {
    fake.user_check = {2, false, 0};
    EXPECT_TRUE(refused(run(row), 255, status_line("Error", 0x40bd0010))) << row.title;
    EXPECT_EQ(fake.user_check.calls, 2) << row.title;
  }
}

TEST_F(HandlersRequest, a_refused_user_costs_no_memory) {
  fake.remote_users = {"admin"};
  fake.libc_alloc = {1, true, 0};
  for (const Command &row : checked_commands) {
    EXPECT_EQ(run(row).result, 255) << row.title;
  }
  EXPECT_EQ(fake.libc_alloc.calls, 0);
}

TEST_F(HandlersRequest, a_missing_user_name_is_refused) {
  for (const Command &row : checked_commands) {
    Context context(row.params);
    context->subcommand = row.subcommand;
    context->user_name[0] = '\0';
    EXPECT_TRUE(refused(run(row.handler, context), 255, status_line("Error", 0x40bd0007))) << row.title;
  }
}

TEST_F(HandlersRequest, a_remote_user_with_a_password_passes) {
  fake.remote_users = {"admin"};
  fake.passwords["admin"] = {};
  for (const Command &row : checked_commands) {
    EXPECT_EQ(run(row).result, 0) << row.title;
  }
}

TEST_F(HandlersRequest, reply_and_request_are_freed_whatever_the_status) {
  for (uint32_t status : {0u, 0x40be0001u, 0x40bd0002u}) {
    for (const Command &row : checked_commands) {
      fake.replies = {Reply::with("answer", status)};
      EXPECT_EQ(run(row).freed, 2) << row.title << " " << status;
      fake.replies = {Reply{status, "", true}};
      EXPECT_EQ(run(row).freed, 1) << row.title << " " << status;
    }
  }
}

TEST_F(HandlersRequest, handlers_take_cli_debug_over_except_two) {
  const std::pair<Handler, bool> rows[] = {{sch_cli_create_delete_job, true},
                                           {sch_cli_create_delete_schedule, true},
                                           {sch_cli_modify_schedule, true},
                                           {sch_cli_logfile_resize, true},
                                           {sch_cli_logfile_rename, true},
                                           {sch_cli_logfile_clear, true},
                                           {sch_enable_scheduler, true},
                                           {sch_cli_config_email_transport, true},
                                           {sch_cli_modify_schedule_emailaddr, true},
                                           {sch_cli_semicolon_delimiter_define_job, false},
                                           {sch_cli_aaa_auth_passwd, false}};
  for (const auto &[handler, takes] : rows) {
    for (uint32_t before : {0u, 3u}) {
      Context context({"name"});
      context->debug = 5 - before;
      cli_debug = before;
      run(handler, context);
      EXPECT_EQ(cli_debug, takes ? 5 - before : before);
    }
  }
}

TEST_F(HandlersRequest, skipping_comes_before_cli_debug) {
  for (Handler handler : {sch_cli_create_delete_job, sch_cli_create_delete_schedule, sch_enable_scheduler}) {
    Context context({"_"});
    context->skip = context->feature_skip = 1;
    context->debug = 1;
    EXPECT_TRUE(refused(run(handler, context), 0, ""));
    EXPECT_EQ(cli_debug, 0u);
  }
  EXPECT_THAT(fake.calls, IsEmpty());
  EXPECT_THAT(fake.history, IsEmpty());
}

TEST_F(HandlersRequest, only_create_and_delete_skip) {
  const auto calls_of = [](const Command &command, uint8_t skip, uint8_t feature_skip) {
    fake.calls.clear();
    Context context(command.params);
    context->skip = skip;
    context->feature_skip = feature_skip;
    context->subcommand = command.subcommand;
    run(command.handler, context);
    return fake.calls_with("cmi_").size() + fake.calls_with("fm_cmi_").size();
  };
  EXPECT_EQ(calls_of({"", sch_cli_modify_schedule, 999, {"nightly", "backup"}}, 1, 1), 1u);
  EXPECT_EQ(calls_of({"", sch_cli_semicolon_delimiter_define_job, 0, {"backup", "show clock"}}, 1, 1), 1u);
  EXPECT_EQ(calls_of({"", sch_cli_logfile_clear}, 1, 1), 1u);
  EXPECT_EQ(calls_of({"", sch_cli_create_delete_job, 0, {"backup"}}, 0, 1), 1u);
  EXPECT_EQ(calls_of({"", sch_enable_scheduler}, 1, 0), 1u);
}

TEST_F(HandlersRequest, a_trace_goes_to_standard_error_history_and_buginf) {
  fake.record_traces = true;
  Context context;
  context->debug = 1;
  const auto outcome = run(sch_cli_logfile_clear, context);
  EXPECT_EQ(outcome.err, "log file size is 0\n\n");
  EXPECT_THAT(fake.calls, UnorderedElementsAre("sdwrap_hist_event_subtype_check 0x730000 103",
                                               "sdwrap_hist_event 103 log file size is 0\n", "sdwrap_chk_int 103 0 0 1",
                                               "buginf 1 scheduler 0 log file size is 0\n", "cmi_req_resp 5950 3"));
  ASSERT_EQ(fake.history.size(), 1u);
  EXPECT_EQ(fake.history[0].module, 0x730000u);
  EXPECT_EQ(fake.history[0].length, 4u + 19 + 1);
  EXPECT_EQ(fake.history[0].subtype, 103u);
}

TEST_F(HandlersRequest, each_sink_of_a_trace_has_its_own_gate) {
  fake.history_allowed = fake.buginf_allowed = false;
  debug_level = 200;
  Context context;
  EXPECT_EQ(run(sch_cli_logfile_clear, context).err, "");
  EXPECT_THAT(fake.history, IsEmpty());
  EXPECT_THAT(fake.buginf, IsEmpty());
}

TEST_F(HandlersRequest, no_trace_reaches_a_sink_that_refuses_it) {
  const Command commands[] = {
      {"", sch_cli_create_delete_job, 0, {"backup"}},
      {"", sch_cli_create_delete_job, 0, {"backup"}, 1},
      {"", sch_cli_semicolon_delimiter_define_job},
      {"", sch_cli_semicolon_delimiter_define_job, 0, {"backup"}},
      {"", sch_cli_semicolon_delimiter_define_job, 0, {"backup", "a"}},
      {"", sch_cli_modify_schedule, 1, {"nightly", "+1:0"}},
      {"", sch_cli_modify_schedule, 3, {"nightly", "10:00"}},
      {"", sch_cli_modify_schedule, 999, {"nightly", "backup"}},
      {"", sch_cli_logfile_rename, 0, {"uri"}},
      {"", sch_cli_logfile_clear},
      {"", sch_cli_modify_schedule_emailaddr, 0, {"nightly", "a@b"}},
      {"", sch_cli_aaa_auth_passwd},
  };
  fake.history_allowed = fake.buginf_allowed = false;
  const auto run_all = [&] {
    for (const Command &command : commands)
      run(command);
    Context size;
    size.integer_param(5);
    run(sch_cli_logfile_resize, size);
  };
  run_all();
  fake.remote_users = {"admin"};
  fake.passwords.clear();
  run_all();
  fake.passwords["admin"] = {};
  run_all();
  fake.aaa_words[1] = 0;
  run_all();
  fake.decrypt_gives_text = false;
  run_all();
  EXPECT_FALSE(fake.requests.empty());
  EXPECT_THAT(fake.history, IsEmpty());
  EXPECT_THAT(fake.buginf, IsEmpty());
}

}  // namespace
