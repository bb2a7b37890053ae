// SPDX-License-Identifier: Apache-2.0
#include "service/standby.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "control/operations.h"
#include "control/statuses.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "host/store/store.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using control::Operation;
using ::testing::HasSubstr;
using ::testing::Not;

class StandbyAnswers : public ::testing::Test {
 protected:
  StandbyAnswers() {
    host::use_paths(host::resolve_paths((directory_.path() + "/state").c_str()));
    EXPECT_TRUE(standby_.open());
  }

  host::Answer ask(uint32_t service, const Bytes &body, const host::Caller &caller = root()) const {
    host::Incoming incoming;
    incoming.service = service;
    incoming.body = body;
    incoming.caller = caller;
    return standby_.answer(incoming, service::Settings());
  }
  host::Answer ask(Operation operation, const host::Caller &caller = root()) const {
    Bytes body(sizeof operation);
    std::memcpy(body.data(), &operation, sizeof operation);
    return ask(host::service_control, body, caller);
  }

  const Directory directory_;
  service::Standby standby_{*host::user_by_uid(geteuid()), noon};
};

std::string text_of(const host::Answer &answer) {
  return {reinterpret_cast<const char *>(answer.reply->data()), answer.reply->size()};
}

TEST_F(StandbyAnswers, how_it_does_and_its_zone_and_nothing_else) {
  EXPECT_THAT(text_of(ask(Operation::status)), HasSubstr("mode: standby\n"));
  EXPECT_THAT(text_of(ask(Operation::status)), HasSubstr("running store: "));
  EXPECT_THAT(text_of(ask(Operation::status)), Not(HasSubstr("enabled")));
  EXPECT_EQ(ask(Operation::get_zone).status, 0u);
  for (const uint32_t service : {SCH_SERVICE_CONFIG, SCH_SERVICE_SHOW})
    EXPECT_EQ(ask(service, Bytes(48)).status, control::err_standby);
  for (const Operation operation : {Operation::enable_feature, Operation::running_text, Operation::run_schedule,
                                    Operation::copy_running_startup, Operation::security_store})
    EXPECT_EQ(ask(operation).status, control::err_standby);
  EXPECT_EQ(ask(host::service_control, Bytes(3)).status, control::err_standby);
}

TEST_F(StandbyAnswers, the_administrator_alone_ends_it_and_sees_where_it_is) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to serve other users";
  EXPECT_TRUE(standby_.may_end_it(root()));
  EXPECT_FALSE(standby_.may_end_it(nobody()));
  EXPECT_THAT(text_of(ask(Operation::status, nobody())), Not(HasSubstr("state directory")));
}

TEST_F(StandbyAnswers, leave_the_stores_as_they_are_for_the_take_over) {
  EXPECT_TRUE(host::store_exists("running:scheduler_runtime"));
  EXPECT_EQ(scheduler_enabled, 0);
  EXPECT_NE(pss_running, 0u);
}

}  // namespace
}  // namespace service_test
