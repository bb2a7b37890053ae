// SPDX-License-Identifier: Apache-2.0
#include "service/request/shown_output.h"
#include "control/statuses.h"

#include <gtest/gtest.h>

#include "service/request/show.h"
#include "tests/service/world.h"

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

TEST(ShownOutput, is_what_the_log_answers_while_the_raw_log_has_the_bytes) {
  World world;
  world.parts->log.append(hostile());
  EXPECT_EQ(log_of(world).at(0).output, "^[[2J\n| " + std::string(78, '=') + "\n");
  const service::Call call = {world.parts->context, root()};
  const host::Answer raw = service::show_raw_log(call, {});
  const std::optional<Bytes> message = raw.next();
  ASSERT_TRUE(message);
  EXPECT_EQ(Bytes(message->begin() + sizeof(sch_log_entry), message->end()), bytes(hostile().output));
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
