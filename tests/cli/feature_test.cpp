// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/cli/exchange.h"

namespace {

using cli_test::Context;
using cli_test::fake;
using cli_test::refused;
using cli_test::run;
using cli_test::status_line;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string enable_call = "fm_cmi_set_feature_wait 42 scheduler admin console 3";
const std::string disable_call = "fm_cmi_set_feature_wait 42 scheduler admin console 4";

class Feature : public cli_test::CliTest {
 protected:
  static cli_test::Outcome set(uint32_t negate, uint32_t status) {
    fake.feature_result = status;
    Context context;
    context->negate = negate;
    return run(sch_enable_scheduler, context);
  }
};

TEST_F(Feature, enabling_waits_for_the_feature_manager) {
  EXPECT_TRUE(refused(set(0, 0), 0, ""));
  EXPECT_THAT(fake.calls, ElementsAre(enable_call));
  EXPECT_THAT(fake.history, IsEmpty());
}

TEST_F(Feature, disabling_takes_the_commands_out_of_the_shell) {
  EXPECT_TRUE(refused(set(1, 0), 0, ""));
  EXPECT_THAT(fake.calls, ElementsAre(disable_call, "vsh_deregister_parse_tree 42 scheduler"));
}

TEST_F(Feature, a_shell_that_keeps_the_commands_is_no_failure) {
  fake.errors["vsh_deregister_parse_tree"] = 5;
  EXPECT_TRUE(refused(set(1, 0), 0, ""));
}

TEST_F(Feature, each_form_tolerates_its_own_status_after_the_message) {
  const struct {
    uint32_t negate, status;
    int result;
  } rows[] = {{0, 0x40aa0005, 0}, {0, 0x40aa0006, 1}, {0, 0x40be0001, 1},
              {1, 0x40aa0006, 0}, {1, 0x40aa0005, 1}, {1, 0x40be0001, 1}};
  for (const auto &row : rows) {
    fake.calls.clear();
    EXPECT_TRUE(refused(set(row.negate, row.status), row.result, status_line("Error", row.status)));
    EXPECT_THAT(fake.calls, ElementsAre(row.negate ? disable_call : enable_call));
  }
}

}  // namespace
