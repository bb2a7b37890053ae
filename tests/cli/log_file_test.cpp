// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/cli/exchange.h"

namespace {

using cli_test::Context;
using cli_test::fake;
using cli_test::Handler;
using cli_test::Outcome;
using cli_test::Record;
using cli_test::refused;
using cli_test::run;
using cli_test::status_line;
using platform_test::Reply;
using testing::ElementsAre;
using testing::IsEmpty;

class LogFile : public cli_test::CliTest {
 protected:
  static Outcome resize(uint32_t kilobytes) {
    Context context;
    context.integer_param(kilobytes);
    return run(sch_cli_logfile_resize, context);
  }
  static Outcome rename() {
    static const int uri = 0;
    Context context;
    context.uri_param(&uri);
    return run(sch_cli_logfile_rename, context);
  }
  static Outcome negated(Handler handler) {
    Context context;
    context->negate = 6;
    return run(handler, context);
  }
};

TEST_F(LogFile, resize_sends_bytes_for_kilobytes) {
  const struct {
    uint32_t kilobytes, bytes;
  } rows[] = {{1, 1024}, {16, 16384}, {1024, 1048576}, {0, 0}, {4194304, 0}, {4194305, 1024}};
  for (const auto &row : rows) {
    fake.history.clear();
    const Outcome outcome = resize(row.kilobytes);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
    EXPECT_THAT(outcome.requests, ElementsAre(Record(9, 524).word(528, row.bytes).hex()));
    EXPECT_THAT(fake.traces(103), ElementsAre("log file size is " + std::to_string(row.kilobytes) + "\n"));
  }
}

TEST_F(LogFile, negated_resize_restores_the_default_without_a_trace) {
  EXPECT_THAT(negated(sch_cli_logfile_resize).requests, ElementsAre(Record(9, 524).word(8, 6).word(528, 16384).hex()));
  EXPECT_THAT(fake.history, IsEmpty());
}

TEST_F(LogFile, rename_sends_path_and_location) {
  const Outcome outcome = rename();
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.out + outcome.err, "");
  EXPECT_THAT(outcome.requests,
              ElementsAre(Record(10, 524).text(16, "/bootflash/log.dat").text(272, "bootflash:log.dat").hex()));
  EXPECT_THAT(fake.calls, ElementsAre("uri_map_targetfs_path_get uri 256", "stat /bootflash/log.dat",
                                      "snprintf_uri_len 256 uri", "cmi_req_resp 5950 3"));
  EXPECT_THAT(fake.traces(103), ElementsAre("log file name is /bootflash/log.dat\n"));
}

TEST_F(LogFile, long_paths_and_locations_stay_in_their_fields) {
  fake.uri_path = "/" + std::string(300, 'p');
  fake.uri_text = "bootflash:" + std::string(300, 'u');
  EXPECT_THAT(
      rename().requests,
      ElementsAre(
          Record(10, 524).text(16, fake.uri_path.substr(0, 255)).text(272, fake.uri_text.substr(0, 255)).hex()));
}

TEST_F(LogFile, a_path_that_cannot_be_mapped_goes_out_empty_for_the_service_to_refuse) {
  fake.errors["uri_map_targetfs_path_get"] = 0x40be0001;
  EXPECT_THAT(rename().requests, ElementsAre(Record(10, 524).text(272, "bootflash:log.dat").hex()));
}

TEST_F(LogFile, rename_to_an_existing_file_is_a_success_that_sends_nothing) {
  fake.existing_files = {"/bootflash/log.dat"};
  const Outcome outcome = rename();
  EXPECT_TRUE(refused(outcome, 0, "Error: File exists.\n"));
  EXPECT_EQ(outcome.freed, 1);
  EXPECT_THAT(fake.calls, ElementsAre("uri_map_targetfs_path_get uri 256", "stat /bootflash/log.dat"));
  EXPECT_THAT(fake.history, IsEmpty());
}

TEST_F(LogFile, negated_rename_restores_the_defaults_without_looking_for_a_file) {
  fake.existing_files = {"scheduler_circular_log.dat"};
  EXPECT_THAT(negated(sch_cli_logfile_rename).requests,
              ElementsAre(Record(10, 524).word(8, 6).text(16, "scheduler_circular_log.dat").text(272, "NONE").hex()));
  EXPECT_THAT(fake.calls, ElementsAre("cmi_req_resp 5950 3"));
  EXPECT_THAT(fake.history, IsEmpty());
}

TEST_F(LogFile, clear_sends_the_flag_alone_and_traces_a_size_of_zero) {
  Context context;
  EXPECT_THAT(run(sch_cli_logfile_clear, context).requests, ElementsAre(Record(11, 524).hex()));
  EXPECT_THAT(fake.traces(103), ElementsAre("log file size is 0\n"));
  EXPECT_THAT(negated(sch_cli_logfile_clear).requests, ElementsAre(Record(11, 524).word(8, 6).hex()));
}

TEST_F(LogFile, failures_carry_the_platform_s_text_and_are_handed_on) {
  for (Handler handler : {sch_cli_logfile_resize, sch_cli_logfile_rename, sch_cli_logfile_clear}) {
    for (uint32_t status : {0x40bd0002u, 0x40be0001u, 0xffffffffu}) {
      fake.replies = {Reply::with("answer", status)};
      const Outcome outcome = negated(handler);
      EXPECT_EQ(outcome.result, static_cast<int>(status));
      EXPECT_EQ(outcome.err, "Error: : " + platform_test::error_text(status) + "\n");
      EXPECT_EQ(outcome.out, "");
      EXPECT_EQ(outcome.freed, 2);
    }
  }
}

TEST_F(LogFile, no_user_is_checked) {
  fake.remote_users = {"admin"};
  EXPECT_EQ(resize(1).result, 0);
  EXPECT_EQ(rename().result, 0);
  EXPECT_THAT(fake.calls_with("check_if_user_remote"), IsEmpty());
}

TEST_F(LogFile, dummy_generation_does_nothing) {
  EXPECT_EQ(sch_cli_dummy_cfg_gen(), 0);
  EXPECT_THAT(fake.calls, IsEmpty());
  EXPECT_THAT(fake.history, IsEmpty());
}

}  // namespace
