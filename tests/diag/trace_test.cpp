// SPDX-License-Identifier: Apache-2.0
#include "diag/trace.h"

#include <gmock/gmock.h>

#include "tests/platform/platform.h"

using namespace platform_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Trace : public PlatformTest {};

TEST_F(Trace, history_record_holds_subtype_text_and_terminator) {
  SCH_TRACE_SERVICE(trace_store, "abc");
  SCH_TRACE_SERVICE(trace_status, "%s", "");
  ASSERT_EQ(fake.history.size(), 2u);
  EXPECT_EQ(fake.history[0].module, 0x730000u);
  EXPECT_EQ(fake.history[0].length, 8u);
  EXPECT_EQ(fake.history[0].subtype, 100u);
  EXPECT_EQ(fake.history[0].text, "abc");
  EXPECT_EQ(fake.history[1].length, 5u);
  EXPECT_EQ(fake.history[1].subtype, 102u);
}

TEST_F(Trace, text_is_cut_to_its_buffer_except_for_buginf) {
  const std::string text(600, 'x');
  debug_level = 200;
  const Output output = capture([&] { SCH_TRACE_SERVICE(trace_config, "%s", text.c_str()); });
  EXPECT_EQ(output.err, std::string(511, 'x') + "\n");
  EXPECT_EQ(fake.history[0].length, 4u + 511 + 1);
  EXPECT_EQ(fake.history[0].text, std::string(511, 'x'));
  EXPECT_EQ(fake.buginf[0], text);
}

TEST_F(Trace, text_of_the_buffers_size_less_one_is_whole) {
  const std::string text(511, 'y');
  SCH_TRACE_SERVICE(trace_config, "%s", text.c_str());
  EXPECT_EQ(fake.history[0].text, text);
  EXPECT_EQ(fake.history[0].length, 516u);
}

TEST_F(Trace, standard_error_gates_are_the_command_sides_and_the_services) {
  const struct {
    uint32_t cli_debug;
    int32_t debug_level;
    const char *cli, *service;
  } rows[] = {{0, 0, "", ""}, {1, 0, "t\n", ""}, {0, 104, "", "t\n"}, {0, 103, "", ""}, {7, 200, "t\n", "t\n"}};
  for (const auto &row : rows) {
    cli_debug = row.cli_debug;
    debug_level = row.debug_level;
    EXPECT_EQ(capture([] { SCH_TRACE_CLI("t"); }).err, row.cli);
    EXPECT_EQ(capture([] { SCH_TRACE_SERVICE(trace_config, "t"); }).err, row.service);
  }
}

TEST_F(Trace, closed_sinks_take_nothing) {
  fake.history_allowed = false;
  SCH_TRACE_CLI("one");
  EXPECT_THAT(fake.history, IsEmpty());
  EXPECT_THAT(fake.buginf, ElementsAre("one"));
  fake.reset();
  fake.buginf_allowed = false;
  SCH_TRACE_CLI("two");
  EXPECT_THAT(fake.traces(), ElementsAre("two"));
  EXPECT_THAT(fake.buginf, IsEmpty());
}

}  // namespace
