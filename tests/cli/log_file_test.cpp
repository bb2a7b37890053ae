// SPDX-License-Identifier: Apache-2.0
#include "tests/cli/exchange.h"

namespace {

using namespace cli_test;

class LogFile : public CliTest {
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
  static std::string renamed(const std::string &name, const std::string &uri) {
    return request<sch_log_file_request>(SCH_OP_RENAME_LOG, [&](auto &record) {
      put(record.name, name);
      put(record.uri, uri);
    });
  }
};

TEST_F(LogFile, resize_sends_bytes_for_kilobytes) {
  const struct {
    uint32_t kilobytes, bytes;
  } rows[] = {{1, 1024}, {16, 16384}, {1024, 1048576}, {0, 0}, {4194304, 0}, {4194305, 1024}};
  for (const auto &row : rows) {
    EXPECT_THAT(
        resize(row.kilobytes).requests,
        ElementsAre(request<sch_log_file_request>(SCH_OP_RESIZE_LOG, [&](auto &record) { record.size = row.bytes; })));
  }
}

TEST_F(LogFile, long_paths_and_locations_stay_in_their_fields) {
  fake.uri_path = "/" + std::string(300, 'p');
  fake.uri_text = "bootflash:" + std::string(300, 'u');
  EXPECT_THAT(rename().requests, ElementsAre(renamed(fake.uri_path.substr(0, 255), fake.uri_text.substr(0, 255))));
}

TEST_F(LogFile, a_path_that_cannot_be_mapped_goes_out_empty_for_the_service_to_refuse) {
  fake.errors["uri_map_targetfs_path_get"] = 0x40be0001;
  EXPECT_THAT(rename().requests, ElementsAre(renamed("", "bootflash:log.dat")));
}

TEST_F(LogFile, a_name_that_exists_costs_its_request_alone) {
  fake.existing_files = {"/bootflash/log.dat"};
  EXPECT_EQ(rename().freed, 1);
}

TEST_F(LogFile, failures_carry_the_platform_s_text_and_are_handed_on) {
  for (Handler handler : {sch_cli_logfile_resize, sch_cli_logfile_rename, sch_cli_logfile_clear}) {
    for (uint32_t status : {0x40bd0002u, 0x40be0001u, 0xffffffffu}) {
      fake.replies = {Reply::with("answer", status)};
      const Outcome outcome = run({"", handler, 0, {}, 6});
      EXPECT_EQ(outcome.result, static_cast<int>(status));
      EXPECT_EQ(outcome.err, status_line("Error: ", status));
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

}  // namespace
