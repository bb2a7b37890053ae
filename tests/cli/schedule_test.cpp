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

constexpr uint32_t exists = 0x40bd0002;
constexpr uint32_t other_failure = 0x40be0001;

class Schedule : public cli_test::CliTest {
 protected:
  static Outcome create(const std::string &name, uint32_t negate = 0, uint32_t status = 0) {
    if (status != 0) fake.replies = {Reply::with("", status)};
    Context context({name});
    context->negate = negate;
    return run(sch_cli_create_delete_schedule, context);
  }
};

TEST_F(Schedule, create_golden_bytes) {
  const Outcome outcome = create("nightly");
  EXPECT_EQ(outcome.result, 0) << outcome;
  EXPECT_THAT(outcome.requests, ElementsAre("0300000028000000"
                                            "0000000000000000"
                                            "6e696768746c79000000000000000000"
                                            "00000000000000000000000000000000"));
  EXPECT_EQ(outcome.out + outcome.err, "");
  EXPECT_THAT(fake.traces(103),
              ElementsAre("scheduler stub received schedule name nightly", "user admin", " Not remote User\n",
                          "user admin", " Not remote User\n", "scheduler stub enqueing create schedule name nightly"));
}

TEST_F(Schedule, delete_sends_opcode_5) {
  EXPECT_THAT(create("nightly", 1).requests, ElementsAre(Record(5, 40).word(8, 1).text(16, "nightly").hex()));
  EXPECT_EQ(fake.traces(103).back(), "scheduler stub enqueing delete schedule name nightly");
}

TEST_F(Schedule, a_long_name_is_sent_cut_to_31_characters) {
  EXPECT_THAT(create(std::string(50, 'n')).requests, ElementsAre(Record(3, 40).text(16, std::string(31, 'n')).hex()));
}

TEST_F(Schedule, creating_what_exists_hands_the_status_on_in_silence) {
  const Outcome outcome = create("nightly", 0, exists);
  EXPECT_EQ(outcome.result, static_cast<int>(exists));
  EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST_F(Schedule, another_failed_creation_is_255) {
  const Outcome outcome = create("nightly", 0, other_failure);
  EXPECT_EQ(outcome.result, 255);
  EXPECT_EQ(outcome.err, status_line("Error: create schedule failed", other_failure));
  EXPECT_EQ(outcome.out, "");
}

TEST_F(Schedule, a_failed_deletion_hands_every_status_on) {
  for (uint32_t status : {exists, other_failure}) {
    const Outcome outcome = create("nightly", 1, status);
    EXPECT_EQ(outcome.result, static_cast<int>(status));
    EXPECT_EQ(outcome.err, status_line("Error: delete schedule failed", status));
    EXPECT_EQ(outcome.out, "");
  }
}

TEST_F(Schedule, a_bad_name_is_traced_and_refused) {
  EXPECT_TRUE(refused(create("-x"), 255, name_rule_message));
  EXPECT_THAT(fake.traces(103), ElementsAre("scheduler stub received schedule name -x"));
}

}  // namespace
