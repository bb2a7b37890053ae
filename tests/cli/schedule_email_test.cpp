// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/cli/exchange.h"

namespace {

using cli_test::Context;
using cli_test::fake;
using cli_test::Outcome;
using cli_test::Record;
using cli_test::run;
using cli_test::status_line;
using platform_test::Reply;
using testing::ElementsAre;

class ScheduleEmail : public cli_test::CliTest {
 protected:
  static Outcome change(const std::string &schedule, const std::string &address, uint32_t negate = 0) {
    Context context({schedule, address});
    context->negate = negate;
    return run(sch_cli_modify_schedule_emailaddr, context);
  }
};

TEST_F(ScheduleEmail, golden_bytes) {
  const Outcome outcome = change("s", "a@b");
  EXPECT_EQ(outcome.result, 0) << outcome;
  EXPECT_EQ(outcome.out + outcome.err, "");
  EXPECT_THAT(outcome.requests,
              ElementsAre("14000000610000001473" + std::string(2 * 31, '0') + "614062" + std::string(2 * 61, '0')));
}

TEST_F(ScheduleEmail, addresses_are_added_and_removed) {
  EXPECT_THAT(change("nightly", "ops@example.org").requests,
              ElementsAre(Record(20, 97).byte(8, 20).text(9, "nightly").text(41, "ops@example.org").hex()));
  EXPECT_THAT(change("nightly", "ops@example.org", 2).requests,
              ElementsAre(Record(20, 97).byte(8, 21).text(9, "nightly").text(41, "ops@example.org").hex()));
}

TEST_F(ScheduleEmail, name_and_address_are_cut_to_their_fields_and_not_checked) {
  EXPECT_THAT(
      change("_" + std::string(40, 'n'), std::string(70, 'a')).requests,
      ElementsAre(Record(20, 97).byte(8, 20).text(9, "_" + std::string(30, 'n')).text(41, std::string(63, 'a')).hex()));
}

TEST_F(ScheduleEmail, traces_name_and_address) {
  change("nightly", "ops@example.org");
  const std::vector<std::string> all = fake.traces(103);
  EXPECT_THAT(std::vector(all.begin() + 4, all.end()),
              ElementsAre("modify schedule nightly", "to_emailid <ops@example.org>"));
}

TEST_F(ScheduleEmail, failures_are_named_and_handed_on) {
  for (uint32_t status : {0x40bd0002u, 0x40be0001u}) {
    for (uint32_t negate : {0u, 1u}) {
      fake.replies = {Reply::with("answer", status)};
      const Outcome outcome = change("nightly", "a@b", negate);
      EXPECT_EQ(outcome.result, static_cast<int>(status));
      EXPECT_EQ(outcome.err,
                status_line(negate ? "Error: could not delete email-id" : "Error: could add email-id", status));
      EXPECT_EQ(outcome.out, "");
    }
  }
}

}  // namespace
