// SPDX-License-Identifier: Apache-2.0
#include "service/request/shown_output.h"

#include <gtest/gtest.h>

#include "control/statuses.h"
#include "host/status.h"
#include "tests/service/operator_requests.h"

namespace service_test {
namespace {

using service::shown_output;

TEST(ShownOutput, marks_every_line_that_a_record_begins_ends_or_heads_with) {
  const std::string dashes(33, '-'), rule(78, '=');
  const std::string imitation =
      "Job Name       : x  Job Status: Success (0)\nSchedule Name  : y\nCompletion time: z\n" + dashes +
      " Job Output " + dashes + "\nharmless\n" + rule + "\n";
  EXPECT_EQ(shown_output(imitation),
            "| Job Name       : x  Job Status: Success (0)\n| Schedule Name  : y\n"
            "| Completion time: z\n| " +
                dashes + " Job Output " + dashes + "\nharmless\n| " + rule + "\n");
}

TEST(ShownOutput, marks_imitations_that_differ_in_blanks_or_length_and_leaves_other_lines) {
  EXPECT_EQ(shown_output("  \tJob Name: x"), "|   \tJob Name: x");
  EXPECT_EQ(shown_output(std::string(20, '=') + " "), "| " + std::string(20, '=') + " ");
  for (const std::string &text :
       {std::string(19, '='), std::string("==== chapter ===="), std::string("The Job Name is x\n"),
        std::string("-- a Job Output b"), std::string("\n\n"), std::string()})
    EXPECT_EQ(shown_output(text), text);
}

TEST(ShownOutput, does_not_let_a_control_character_hide_an_imitation) {
  EXPECT_EQ(shown_output("kept\rJob Name: x"), "kept^MJob Name: x");
  EXPECT_EQ(shown_output("x\n\x1b[1GJob Name: x"), "x\n^[[1GJob Name: x");
}

service::LogRecord hostile() {
  service::LogRecord record;
  record.job = "job";
  record.schedule = "schedule";
  record.user = "root";
  record.owner_tag = 1;
  record.output = "\x1b[2J\n" + std::string(78, '=') + "\n";
  return record;
}

// As a client joins the pieces.
std::string raw(World &world, uint64_t run, const host::Caller &caller = root()) {
  const host::Answer answer = ask(world, control::Operation::raw_output, query(run), caller);
  if (answer.status != 0) return "(status " + std::to_string(answer.status) + ")";
  std::string all;
  while (const std::optional<Bytes> piece = answer.next())
    all.append(reinterpret_cast<const char *>(piece->data()), piece->size());
  return all;
}

TEST(ShownOutput, is_what_the_log_answers) {
  World world;
  world.parts->log.append(hostile());
  EXPECT_EQ(log_of(world).at(0).output, "^[[2J\n| " + std::string(78, '=') + "\n");
}

TEST(RawOutput, of_a_run_is_every_byte_of_its_jobs_and_nothing_else) {
  World world;
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_RESIZE_LOG, log_payload("", "", 1 << 20)).status, 0u);
  service::LogRecord large = hostile();
  large.output.assign(100000, '\x1b');
  for (service::LogRecord record : {hostile(), large}) {
    record.run = 7;
    world.parts->log.append(record);
    record.run = 8;
    world.parts->log.append(record);
  }
  EXPECT_TRUE(raw(world, 7) == hostile().output + large.output);
}

TEST(RawOutput, of_the_log_has_a_line_before_each_output) {
  World world;
  EXPECT_EQ(raw(world, 0), "");
  service::LogRecord record = hostile();
  record.run = 7;
  record.wait_status = 3 << 8;
  record.completion = static_cast<uint32_t>(noon);
  world.parts->log.append(record);
  EXPECT_EQ(raw(world, 0),
            "===== run 7, schedule schedule, job job, user root, exit code 3, ended Sat Nov 21 12:00:00 2026 =====\n" +
                hostile().output);
}

TEST(RawOutput, is_its_owners_and_the_administrators) {
  World world;
  service::LogRecord record = hostile();
  record.run = 7;
  world.parts->log.append(record);
  EXPECT_EQ(raw(world, 0, nobody()), "");
  EXPECT_EQ(raw(world, 7, nobody()), "(status " + std::to_string(control::err_no_output_of_run) + ")");
  EXPECT_EQ(raw(world, 6), "(status " + std::to_string(control::err_no_output_of_run) + ")");
  EXPECT_EQ(ask(world, control::Operation::raw_output, bytes("7")).status, host::err_bad_request);
}

TEST(RawOutput, of_a_run_that_printed_nothing_is_empty) {
  World world;
  service::LogRecord record = hostile();
  record.run = 7;
  record.output.clear();
  world.parts->log.append(record);
  EXPECT_EQ(raw(world, 7), "");
}

TEST(JobText, with_a_control_character_is_refused_and_any_other_comes_back_byte_for_byte) {
  World world;
  for (const char *text : {"echo \x1b[31m\n", "echo\r\n", "echo \xc2\x9b\n", "echo \x9b\n", "echo \xe2\x80\xae\n"}) {
    EXPECT_EQ(create_job(world, "refused", text), control::err_control_character) << text;
    world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_DELETE_JOB, job_payload("refused"));
  }
  const std::string kept = "echo\t'caf\xc3\xa9'\necho '\xe9'\n";
  ASSERT_EQ(create_job(world, "kept", kept), 0u);
  EXPECT_EQ(shown_text(world, "kept"), kept);
}

}  // namespace
}  // namespace service_test
