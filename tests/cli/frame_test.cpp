// SPDX-License-Identifier: Apache-2.0
// What every handler shares: the transport's arguments, the name rule, the user check, cli_debug and the trace's sinks.
#include <gmock/gmock.h>
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

using cli_test::Context;
using cli_test::fake;
using cli_test::Handler;
using cli_test::name_rule_message;
using cli_test::refused;
using cli_test::run;
using cli_test::status_line;
using platform_test::Reply;
using testing::ElementsAre;
using testing::IsEmpty;

class Frame : public cli_test::CliTest {
 protected:
  void TearDown() override {
    regcomp_fails = false;
    CliTest::TearDown();
  }
};

TEST_F(Frame, requests_go_out_with_the_transport_s_arguments) {
  Context context({"backup"});
  context->shell_handle = 77;
  EXPECT_EQ(run(sch_cli_create_delete_job, context).result, 0);
  ASSERT_EQ(fake.requests.size(), 1u);
  const auto &request = fake.requests[0];
  EXPECT_EQ(request.service, 5950u);
  EXPECT_EQ(request.message_class, 3u);
  EXPECT_EQ(request.bytes.size(), 56u);  // by the length word
  EXPECT_EQ(request.user_name, "admin");
  EXPECT_EQ(request.peer_name, "console");
  EXPECT_EQ(request.constant_136, 136u);
  EXPECT_EQ(request.shell_handle, 77u);
  EXPECT_EQ(request.zero, 0u);
  EXPECT_TRUE(request.reply_was_null);
}

// A platform may keep the pointers as long as the shell keeps the context.
TEST_F(Frame, a_terminated_name_is_handed_on_where_it_stands_and_a_full_one_copied) {
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

TEST_F(Frame, names_follow_the_rule) {
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

TEST_F(Frame, the_rule_is_a_basic_expression) {
  regcomp_flags = -1;
  Context context({"a"});
  EXPECT_EQ(run(sch_cli_create_delete_job, context).result, 0);
  EXPECT_EQ(regcomp_flags, 0);
}

TEST_F(Frame, a_rule_that_does_not_compile_allows_no_name) {
  regcomp_fails = true;
  Context context({"a"});
  EXPECT_TRUE(refused(run(sch_cli_create_delete_job, context), 255, name_rule_message));
}

struct Checked {
  const char *title;
  Handler handler;
  uint32_t subcommand;
  std::vector<std::string> params;
};
const Checked checked_handlers[] = {
    {"job", sch_cli_create_delete_job, 0, {"backup"}},
    {"schedule", sch_cli_create_delete_schedule, 0, {"nightly"}},
    {"change", sch_cli_modify_schedule, 999, {"nightly", "backup"}},
    {"address", sch_cli_modify_schedule_emailaddr, 0, {"nightly", "ops@example.org"}},
};

TEST_F(Frame, users_are_checked_twice_before_anything_is_sent) {
  for (const Checked &row : checked_handlers) {
    fake.calls.clear();
    Context context(row.params);
    context->subcommand = row.subcommand;
    EXPECT_EQ(run(row.handler, context).result, 0) << row.title;
    EXPECT_THAT(fake.calls,
                ElementsAre("check_if_user_remote 42 admin", "check_if_user_remote 42 admin", "cmi_req_resp 5950 3"))
        << row.title;
  }
}

TEST_F(Frame, the_first_failed_user_check_ends_the_command) {
  fake.remote_users = {"admin"};
  for (const Checked &row : checked_handlers) {
    fake.calls.clear();
    Context context(row.params);
    context->subcommand = row.subcommand;
    EXPECT_TRUE(refused(run(row.handler, context), 255, status_line("Error", 0x40bd0010))) << row.title;
    EXPECT_EQ(fake.calls_with("check_if_user_remote").size(), 1u) << row.title;
  }
}

TEST_F(Frame, the_second_answer_of_the_user_check_counts_too) {
  for (const Checked &row : checked_handlers) {
    fake.user_check = {2, false, 0};
    Context context(row.params);
    context->subcommand = row.subcommand;
    EXPECT_TRUE(refused(run(row.handler, context), 255, status_line("Error", 0x40bd0010))) << row.title;
    EXPECT_EQ(fake.user_check.calls, 2) << row.title;
  }
}

TEST_F(Frame, a_refused_user_costs_no_memory) {
  fake.remote_users = {"admin"};
  fake.libc_alloc = {1, true, 0};
  for (const Checked &row : checked_handlers) {
    Context context(row.params);
    context->subcommand = row.subcommand;
    EXPECT_EQ(run(row.handler, context).result, 255) << row.title;
  }
  EXPECT_EQ(fake.libc_alloc.calls, 0);
}

TEST_F(Frame, sending_comes_last) {
  fake.record_traces = true;
  for (const Checked &row : checked_handlers) {
    Context context(row.params);
    context->subcommand = row.subcommand;
    run(row.handler, context);
    EXPECT_EQ(fake.calls.back(), "cmi_req_resp 5950 3") << row.title;
  }
}

TEST_F(Frame, a_missing_user_name_is_refused) {
  for (const Checked &row : checked_handlers) {
    Context context(row.params);
    context->subcommand = row.subcommand;
    context->user_name[0] = '\0';
    EXPECT_TRUE(refused(run(row.handler, context), 255, status_line("Error", 0x40bd0007))) << row.title;
  }
}

TEST_F(Frame, a_remote_user_with_a_password_passes) {
  fake.remote_users = {"admin"};
  fake.passwords["admin"] = {};
  for (const Checked &row : checked_handlers) {
    Context context(row.params);
    context->subcommand = row.subcommand;
    EXPECT_EQ(run(row.handler, context).result, 0) << row.title;
  }
}

TEST_F(Frame, reply_and_request_are_freed_whatever_the_status) {
  for (uint32_t status : {0u, 0x40be0001u, 0x40bd0002u}) {
    for (const Checked &row : checked_handlers) {
      Context context(row.params);
      context->subcommand = row.subcommand;
      fake.replies = {Reply::with("answer", status)};
      EXPECT_EQ(run(row.handler, context).freed, 2) << row.title << " " << status;
      fake.replies = {Reply{status, "", true}};
      EXPECT_EQ(run(row.handler, context).freed, 1) << row.title << " " << status;
    }
  }
}

TEST_F(Frame, handlers_take_cli_debug_over_except_two) {
  struct {
    const char *title;
    Handler handler;
    bool takes;
  } rows[] = {
      {"job", sch_cli_create_delete_job, true},
      {"schedule", sch_cli_create_delete_schedule, true},
      {"change", sch_cli_modify_schedule, true},
      {"resize", sch_cli_logfile_resize, true},
      {"rename", sch_cli_logfile_rename, true},
      {"clear", sch_cli_logfile_clear, true},
      {"feature", sch_enable_scheduler, true},
      {"transport", sch_cli_config_email_transport, true},
      {"address", sch_cli_modify_schedule_emailaddr, true},
      {"define", sch_cli_semicolon_delimiter_define_job, false},
      {"password", sch_cli_aaa_auth_passwd, false},
  };
  for (const auto &row : rows) {
    for (uint32_t before : {0u, 3u}) {
      Context context({"name"});
      context->debug = 5 - before;
      cli_debug = before;
      run(row.handler, context);
      EXPECT_EQ(cli_debug, row.takes ? 5 - before : before) << row.title;
    }
  }
}

TEST_F(Frame, skipping_comes_before_cli_debug) {
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

TEST_F(Frame, only_create_and_delete_skip) {
  Context change({"nightly", "backup"});
  change->skip = change->feature_skip = 1;
  change->subcommand = 999;
  EXPECT_EQ(run(sch_cli_modify_schedule, change).requests.size(), 1u);
  Context define({"backup", "show clock"});
  define->skip = define->feature_skip = 1;
  EXPECT_EQ(run(sch_cli_semicolon_delimiter_define_job, define).requests.size(), 1u);
  Context clear;
  clear->skip = clear->feature_skip = 1;
  EXPECT_EQ(run(sch_cli_logfile_clear, clear).requests.size(), 1u);
  Context job({"backup"});
  job->feature_skip = 1;
  EXPECT_EQ(run(sch_cli_create_delete_job, job).requests.size(), 1u);
  Context feature;
  feature->skip = 1;
  run(sch_enable_scheduler, feature);
  EXPECT_EQ(fake.calls_with("fm_cmi_set_feature_wait").size(), 1u);
}

TEST_F(Frame, a_trace_goes_to_standard_error_history_and_buginf_in_this_order) {
  fake.record_traces = true;
  Context context;
  context->debug = 1;
  const auto outcome = run(sch_cli_logfile_clear, context);
  EXPECT_EQ(outcome.err, "log file size is 0\n\n");
  EXPECT_THAT(fake.calls, ElementsAre("sdwrap_hist_event_subtype_check 0x730000 103",
                                      "sdwrap_hist_event 103 log file size is 0\n", "sdwrap_chk_int 103 0 0 1",
                                      "buginf 1 scheduler 0 log file size is 0\n", "cmi_req_resp 5950 3"));
  ASSERT_EQ(fake.history.size(), 1u);
  EXPECT_EQ(fake.history[0].module, 0x730000u);
  EXPECT_EQ(fake.history[0].length, 4u + 19 + 1);
  EXPECT_EQ(fake.history[0].subtype, 103u);
}

TEST_F(Frame, each_sink_of_a_trace_has_its_own_gate) {
  fake.history_allowed = fake.buginf_allowed = false;
  debug_level = 200;
  Context context;
  EXPECT_EQ(run(sch_cli_logfile_clear, context).err, "");
  EXPECT_THAT(fake.history, IsEmpty());
  EXPECT_THAT(fake.buginf, IsEmpty());
}

struct Command {
  Handler handler;
  uint32_t subcommand, negate;
  std::vector<std::string> params;
};

TEST_F(Frame, no_trace_reaches_a_sink_that_refuses_it) {
  const Command commands[] = {
      {sch_cli_create_delete_job, 0, 0, {"backup"}},
      {sch_cli_create_delete_job, 0, 1, {"backup"}},
      {sch_cli_semicolon_delimiter_define_job, 0, 0, {}},
      {sch_cli_semicolon_delimiter_define_job, 0, 0, {"backup"}},
      {sch_cli_semicolon_delimiter_define_job, 0, 0, {"backup", "a"}},
      {sch_cli_modify_schedule, 1, 0, {"nightly", "+1:0"}},
      {sch_cli_modify_schedule, 3, 0, {"nightly", "10:00"}},
      {sch_cli_modify_schedule, 999, 0, {"nightly", "backup"}},
      {sch_cli_logfile_rename, 0, 0, {"uri"}},
      {sch_cli_logfile_clear, 0, 0, {}},
      {sch_cli_modify_schedule_emailaddr, 0, 0, {"nightly", "a@b"}},
      {sch_cli_aaa_auth_passwd, 0, 0, {}},
  };
  fake.history_allowed = fake.buginf_allowed = false;
  const auto run_all = [&] {
    for (const Command &command : commands) {
      Context context(command.params);
      context->subcommand = command.subcommand;
      context->negate = command.negate;
      run(command.handler, context);
    }
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
