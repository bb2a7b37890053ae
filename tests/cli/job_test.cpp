// SPDX-License-Identifier: Apache-2.0
// The text of a job, from a command line and as a block.
#include "tests/cli/exchange.h"

namespace {

using namespace cli_test;

const std::string long_name(40, 'n');
const std::string cut_name(31, 'n');

class Job : public cli_test::CliTest {
 protected:
  static Outcome define(const std::string &name, const std::string &text) {
    return run({"", sch_cli_semicolon_delimiter_define_job, 0, {name, text}});
  }
  static std::string definition(const std::string &name, const std::string &text) {
    return job_request(SCH_OP_DEFINE_JOB, name, 0, text);
  }
  // The text of the one definition sent since the last call.
  static std::string sent_text() {
    const std::string text = fake.requests.at(0).bytes.substr(56);
    EXPECT_EQ(fake.requests.size(), 1u);
    fake.requests.clear();
    return text;
  }
};

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

TEST_F(Job, definition_checks_no_user_and_takes_the_negation_for_nothing) {
  fake.remote_users = {"admin"};
  const Command command = {"", sch_cli_semicolon_delimiter_define_job, 0, {"backup", "a"}, 1};
  EXPECT_THAT(run(command).requests, ElementsAre(definition("backup", "a\n")));
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
