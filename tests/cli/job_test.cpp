// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/cli/exchange.h"

namespace {

using cli_test::Context;
using cli_test::fake;
using cli_test::name_rule_message;
using cli_test::Outcome;
using cli_test::Record;
using cli_test::refused;
using cli_test::run;
using cli_test::status_line;
using platform_test::Reply;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t exists = 0x40bd0002;
constexpr uint32_t other_failure = 0x40be0001;
const std::string long_name(40, 'n');
const std::string cut_name(31, 'n');

class Job : public cli_test::CliTest {
 protected:
  static Outcome create(const std::string &name, uint32_t negate = 0) {
    Context context({name});
    context->negate = negate;
    return run(sch_cli_create_delete_job, context);
  }
  static Outcome define(const std::string &name, const std::string &text) {
    Context context({name, text});
    return run(sch_cli_semicolon_delimiter_define_job, context);
  }
  static std::string definition(const std::string &name, const std::string &text) {
    const auto length = static_cast<uint32_t>(text.size());
    return Record(1, 48 + length).text(16, name).word(52, length).text(56, text).hex();
  }
  // The text of the one definition sent since the last call.
  static std::string sent_text() {
    const std::string text = fake.requests.at(0).bytes.substr(56);
    EXPECT_EQ(fake.requests.size(), 1u);
    fake.requests.clear();
    return text;
  }
};

TEST_F(Job, create_sends_opcode_0) {
  const Outcome outcome = create("backup");
  EXPECT_EQ(outcome.result, 0) << outcome;
  EXPECT_THAT(outcome.requests, ElementsAre(Record(0, 48).text(16, "backup").hex()));
  EXPECT_EQ(outcome.out + outcome.err, "");
  EXPECT_THAT(fake.traces(103),
              ElementsAre("scheduler stub received job name backup", "user admin", " Not remote User\n", "user admin",
                          " Not remote User\n", "scheduler stub enqueing create job name backup"));
}

TEST_F(Job, create_golden_bytes) {
  EXPECT_EQ(create("a-b_c9").requests.at(0),
            "0000000030000000"
            "0000000000000000"
            "612d625f633900000000000000000000"
            "00000000000000000000000000000000"
            "0000000000000000");
}

TEST_F(Job, delete_sends_opcode_2_and_the_flag_as_it_came) {
  const Outcome outcome = create("backup", 9);
  EXPECT_EQ(outcome.result, 0) << outcome;
  EXPECT_THAT(outcome.requests, ElementsAre(Record(2, 48).word(8, 9).text(16, "backup").hex()));
  EXPECT_EQ(fake.traces(103).back(), "scheduler stub enqueing delete job name backup");
}

TEST_F(Job, a_long_name_is_sent_cut_to_31_characters) {
  EXPECT_THAT(create(long_name).requests, ElementsAre(Record(0, 48).text(16, cut_name).hex()));
  EXPECT_THAT(create(std::string(32, 'n')).requests, ElementsAre(Record(0, 48).text(16, cut_name).hex()));
  EXPECT_THAT(create(cut_name).requests, ElementsAre(Record(0, 48).text(16, cut_name).hex()));
}

TEST_F(Job, an_existing_job_is_said_in_both_forms) {
  for (uint32_t negate : {0u, 1u}) {
    fake.replies = {Reply::with("", exists)};
    const Outcome outcome = create("backup", negate);
    EXPECT_EQ(outcome.result, 255);
    EXPECT_EQ(outcome.err, "Error: job exists\n");
    EXPECT_EQ(outcome.out, "");
  }
}

TEST_F(Job, other_failures_carry_the_platform_s_text) {
  for (uint32_t negate : {0u, 1u}) {
    fake.replies = {Reply::with("", other_failure)};
    const Outcome outcome = create("backup", negate);
    EXPECT_EQ(outcome.result, 255);
    EXPECT_EQ(outcome.err,
              status_line(negate ? "Error: delete job failed" : "Error: create job failed", other_failure));
    EXPECT_EQ(outcome.out, "");
  }
}

TEST_F(Job, a_bad_name_is_traced_and_stops_before_the_user_check) {
  EXPECT_TRUE(refused(create("_x"), 255, name_rule_message));
  EXPECT_THAT(fake.traces(103), ElementsAre("scheduler stub received job name _x"));
  EXPECT_THAT(fake.calls, IsEmpty());
}

TEST_F(Job, lines_are_ended_by_newlines) {
  const Outcome outcome = define("backup", "copy running-config startup-config;show clock");
  EXPECT_EQ(outcome.result, 0) << outcome;
  EXPECT_THAT(outcome.requests, ElementsAre(definition("backup", "copy running-config startup-config\nshow clock\n")));
  EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST_F(Job, definition_golden_bytes) {
  EXPECT_EQ(define("j", "a;;b;").requests.at(0),
            "0100000034000000"
            "0000000000000000"
            "6a000000000000000000000000000000"
            "00000000000000000000000000000000"
            "0000000004000000"
            "610a620a");
}

TEST_F(Job, empty_segments_vanish) {
  const struct {
    const char *text, *sent;
  } rows[] = {
      {"a;;b;", "a\nb\n"},    {";a", "a\n"},           {"a", "a\n"},           {";;;", ""}, {"", ""}, {" ; ", " \n \n"},
      {"a;b;c", "a\nb\nc\n"}, {";;a;;;b;;", "a\nb\n"}, {"a\nb;c", "a\nb\nc\n"}};
  for (const auto &row : rows) {
    const Outcome outcome = define("backup", row.text);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_THAT(outcome.requests, ElementsAre(definition("backup", row.sent))) << row.text;
  }
}

TEST_F(Job, definition_traces_name_length_and_text) {
  define("backup", "a;b");
  EXPECT_THAT(fake.traces(103), ElementsAre("scheduler stub received job name backup",
                                            "scheduler stub enqueing define job name backup", "length 4 data a\nb\n"));
  EXPECT_THAT(fake.buginf_formats, ElementsAre("scheduler stub received job name %s",
                                               "scheduler stub enqueing define job name %s", "length %d data %s"));
}

TEST_F(Job, definition_checks_no_user_and_takes_the_negation_for_nothing) {
  fake.remote_users = {"admin"};
  Context context({"backup", "a"});
  context->negate = 1;
  EXPECT_THAT(run(sch_cli_semicolon_delimiter_define_job, context).requests, ElementsAre(definition("backup", "a\n")));
  EXPECT_THAT(fake.calls, ElementsAre("cmi_req_resp 5950 3"));
}

TEST_F(Job, definition_without_name_or_text_is_traced_and_refused) {
  Context nameless;
  EXPECT_TRUE(refused(run(sch_cli_semicolon_delimiter_define_job, nameless), 255, ""));
  EXPECT_THAT(fake.traces(103), ElementsAre("scheduler stub received NULL job name"));
  fake.history.clear();
  Context textless({"backup"});
  EXPECT_TRUE(refused(run(sch_cli_semicolon_delimiter_define_job, textless), 255, ""));
  EXPECT_THAT(fake.traces(103),
              ElementsAre("scheduler stub received job name backup", "scheduler stub received NULL job-data"));
}

TEST_F(Job, definition_of_a_bad_name_is_refused_before_its_text_is_looked_at) {
  Context context({"-x"});
  EXPECT_TRUE(refused(run(sch_cli_semicolon_delimiter_define_job, context), 255, name_rule_message));
  EXPECT_THAT(fake.traces(103), ElementsAre("scheduler stub received job name -x"));
}

TEST_F(Job, a_failed_definition_hands_the_status_on) {
  for (uint32_t status : {exists, other_failure, 0xffffffffu}) {
    fake.replies = {Reply::with("text", status)};
    const Outcome outcome = define("backup", "a");
    EXPECT_EQ(outcome.result, static_cast<int>(status));
    EXPECT_EQ(outcome.err, status_line("Error: job definition failed", status));
    EXPECT_EQ(outcome.freed, 3);  // request, reply, lines
  }
}

TEST_F(Job, text_up_to_the_limit_is_sent_whole) {
  for (size_t length : {1022u, 1023u, 1024u, 1025u, 2047u, 2048u, 5000u, 8182u}) {
    const std::string line(length, 'x');
    const Outcome outcome = define("backup", line);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(sent_text(), line + "\n") << length;
  }
}

TEST_F(Job, a_line_over_the_limit_is_named_with_the_capacity_and_left_out) {
  Outcome outcome = define("backup", std::string(8183, 'x'));
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.err, "Cannot add more lines, buffer size 1024\n");
  EXPECT_EQ(sent_text(), "");

  outcome = define("backup", std::string(4000, 'a') + ";" + std::string(4181, 'b') + ";c");
  EXPECT_EQ(outcome.err, "Cannot add more lines, buffer size 8192\n");
  EXPECT_EQ(sent_text(), std::string(4000, 'a') + "\n" + std::string(4181, 'b') + "\n");

  outcome = define("backup", std::string(4000, 'a') + ";" + std::string(4182, 'b') + ";c");
  EXPECT_EQ(outcome.err, "Cannot add more lines, buffer size 4096\n");
  EXPECT_EQ(sent_text(), std::string(4000, 'a') + "\n");  // c would fit, but the splitting stops
}

TEST_F(Job, a_line_that_fills_the_text_to_its_last_byte_does_not_grow_it) {
  const std::string too_long = ";" + std::string(8182, 'x');
  EXPECT_EQ(define("backup", std::string(1023, 'a') + too_long).err, "Cannot add more lines, buffer size 1024\n");
  EXPECT_EQ(define("backup", std::string(1024, 'a') + too_long).err, "Cannot add more lines, buffer size 2048\n");
}

TEST_F(Job, many_lines_grow_the_text_step_by_step) {
  std::string text, sent;
  for (int i = 0; i < 200; ++i) {
    const std::string line = "show interface ethernet " + std::to_string(i);
    text += line + ";";
    sent += line + "\n";
  }
  EXPECT_EQ(define("backup", text).err, "");
  EXPECT_EQ(sent_text(), sent);
}

TEST_F(Job, the_text_is_read_and_not_written) {
  const char text[] = "a;b;";
  Context context({"backup"});
  context.raw_param(0, SCH_PARAM_STRING, text);
  EXPECT_EQ(run(sch_cli_semicolon_delimiter_define_job, context).result, 0);
  EXPECT_STREQ(text, "a;b;");
}

TEST_F(Job, a_block_is_sent_as_it_is) {
  const std::string block("show\nclock\0;x", 13);
  const Outcome outcome = run([&] { return sch_cli_define_job(7, block.data(), 13, "_any name", "bob", "ssh"); });
  EXPECT_EQ(outcome.result, 0) << outcome;
  EXPECT_THAT(outcome.requests, ElementsAre(definition("_any name", block)));
  EXPECT_EQ(fake.requests[0].user_name, "bob");
  EXPECT_EQ(fake.requests[0].peer_name, "ssh");
  EXPECT_EQ(fake.requests[0].shell_handle, 7u);
  EXPECT_THAT(fake.calls, ElementsAre("cmi_req_resp 5950 3"));
  EXPECT_THAT(fake.traces(103),
              ElementsAre("scheduler stub enqueing define job name _any name", "length 13 data show\nclock"));
}

TEST_F(Job, an_empty_block_is_sent_with_length_0) {
  EXPECT_THAT(run([] { return sch_cli_define_job(7, nullptr, 0, "j", "bob", "ssh"); }).requests,
              ElementsAre(definition("j", "")));
}

TEST_F(Job, a_block_has_no_limit_but_the_request_s) {
  const std::string block(100000, 'x');
  EXPECT_EQ(run([&] { return sch_cli_define_job(7, block.data(), 100000, long_name.c_str(), "bob", "ssh"); }).requests,
            std::vector{definition(cut_name, block)});
  EXPECT_EQ(fake.traces(103)[1].size(), 511u);
}

TEST_F(Job, a_block_keeps_cli_debug_and_hands_the_status_on) {
  cli_debug = 6;
  fake.replies = {Reply::with("text", other_failure)};
  const Outcome outcome = run([] { return sch_cli_define_job(7, "a\n", 2, "j", "bob", "ssh"); });
  EXPECT_EQ(cli_debug, 6u);
  EXPECT_EQ(outcome.result, static_cast<int>(other_failure));
  EXPECT_EQ(outcome.err, "scheduler stub enqueing define job name j\nlength 2 data a\n\n" +
                             status_line("Error: job definition failed", other_failure));
  EXPECT_EQ(outcome.freed, 2);
}

}  // namespace
