// SPDX-License-Identifier: Apache-2.0
// Accounts of those who ask, by real PAM with a service file of the test's own.
#include "service/request/accounts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <filesystem>
#include <fstream>

#include "control/statuses.h"
#include "host/debug.h"
#include "host/security/account_state.h"
#include "host/status.h"
#include "service/request/dispatch.h"
#include "service/state/tables.h"
#include "tests/service/operator_requests.h"

namespace service_test {
namespace {

using control::Operation;
using service::Accounts;

class AccountOfCaller : public ::testing::Test {
 protected:
  AccountOfCaller() {
    std::filesystem::create_directory(services_);
    host::use_pam_services(services_.c_str());
    world_.parts->context.accounts = &accounts_;
  }
  ~AccountOfCaller() override { host::use_pam_services(nullptr); }

  void pam_says(const char *module) { std::ofstream(services_ + "/schedcli") << "account required " << module << "\n"; }

  // Waits, as the transport does, for an answer that comes later.
  static host::Answer settled(host::Answer answer, bool *asked = nullptr) {
    if (asked != nullptr) *asked = answer.pending != nullptr;
    if (!answer.pending) return answer;
    pollfd ready = {answer.pending->descriptor, POLLIN, 0};
    poll(&ready, 1, 60000);
    return answer.pending->answer();
  }

  host::Answer create(const std::string &job, const host::Caller &caller = nobody()) {
    return world_.send(caller, SCH_SERVICE_CONFIG, SCH_OP_CREATE_JOB, job_payload(job));
  }

  host::Answer order(Operation operation, const Bytes &payload) {
    Bytes body(sizeof operation);
    std::memcpy(body.data(), &operation, sizeof operation);
    body.insert(body.end(), payload.begin(), payload.end());
    host::Incoming incoming;
    incoming.service = host::service_control;
    incoming.body = body;
    incoming.caller = nobody();
    return service::dispatch(world_.parts->context, incoming);
  }

  World world_;
  Accounts accounts_;
  std::string services_ = world_.directory.path() + "/pam.d";
};

TEST_F(AccountOfCaller, that_is_refused_configures_nothing_and_runs_nothing) {
  ASSERT_EQ(create_schedule(world_, "s", {}, {}), 0u);
  pam_says("pam_deny.so");
  EXPECT_EQ(settled(create("job")).status, host::err_account_refused);
  EXPECT_EQ(service::find_job("job"), nullptr);
  for (const Operation operation : {Operation::run_schedule, Operation::enable_schedule, Operation::disable_schedule})
    EXPECT_EQ(settled(order(operation, bytes("s"))).status, host::err_account_refused);
  EXPECT_EQ(settled(order(Operation::kill_run, query(uint64_t{1}))).status, host::err_account_refused);
  EXPECT_EQ(settled(order(Operation::security_store, Bytes(sizeof(sch_security_user_rec)))).status,
            host::err_account_refused);
}

class ClosedAccount : public AccountOfCaller {
 protected:
  ClosedAccount() { world_.parts->context.accounts = nullptr; }
  ~ClosedAccount() override { host::use_shadow_file("/etc/shadow"); }
  void shadow_says(const std::string &fields) {
    std::ofstream(shadow_) << "nobody:" << fields << "\n";
    host::use_shadow_file(shadow_.c_str());
  }

 private:
  std::string shadow_ = world_.directory.path() + "/shadow";
};

TEST_F(ClosedAccount, configures_nothing_and_runs_nothing_without_pam_either) {
  ASSERT_EQ(create_schedule(world_, "s", {}, {}), 0u);
  for (const char *closed : {"!$6$salt$hash-of-a-password:19000:0:99999:7:::", "*:19000:0:99999:7::100:"}) {
    shadow_says(closed);
    EXPECT_EQ(create("job").status, host::err_account_refused) << closed;
    EXPECT_EQ(order(Operation::run_schedule, bytes("s")).status, host::err_account_refused) << closed;
    EXPECT_EQ(create("of-root", root()).status, service::find_job("of-root") == nullptr ? 0u : SCH_STATUS_EXISTS);
  }
  shadow_says("*:19000:0:99999:7:::");
  EXPECT_EQ(create("job").status, 0u);
}

TEST_F(AccountOfCaller, that_is_refused_still_sees_what_it_has) {
  pam_says("pam_deny.so");
  bool asked = true;
  EXPECT_EQ(settled(world_.send(nobody(), SCH_SERVICE_SHOW, SCH_OP_SHOW_JOB, show_payload()), &asked).status, 0u);
  EXPECT_FALSE(asked);
  EXPECT_EQ(settled(order(Operation::status, {}), &asked).status, 0u);
  EXPECT_FALSE(asked);
}

TEST_F(AccountOfCaller, that_may_be_used_is_asked_for_once_and_its_request_is_carried_out) {
  pam_says("pam_permit.so");
  bool asked = false;
  EXPECT_EQ(settled(create("first"), &asked).status, 0u);
  EXPECT_TRUE(asked);
  EXPECT_EQ(settled(create("second"), &asked).status, 0u);
  EXPECT_FALSE(asked);
  EXPECT_NE(service::find_job("first"), nullptr);
  EXPECT_NE(service::find_job("second"), nullptr);
}

TEST_F(AccountOfCaller, who_may_not_use_a_job_is_reported_also_when_the_account_was_asked_for) {
  ASSERT_EQ(create_job(world_, "of-root", ""), 0u);
  pam_says("pam_permit.so");
  host::Answer asked = world_.send(nobody(), SCH_SERVICE_CONFIG, SCH_OP_DELETE_JOB, job_payload("of-root"));
  ASSERT_NE(asked.pending, nullptr);
  host::syslog_open("accounts_test", true);
  testing::internal::CaptureStderr();
  EXPECT_EQ(settled(std::move(asked)).status, control::err_not_owner);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("refused process"));
  host::syslog_open("accounts_test", false);
}

TEST_F(AccountOfCaller, is_one_question_for_all_requests_that_come_meanwhile) {
  pam_says("pam_permit.so");
  host::Answer first = create("first"), second = create("second");
  ASSERT_NE(first.pending, nullptr);
  ASSERT_NE(second.pending, nullptr);
  EXPECT_EQ(first.pending->descriptor, second.pending->descriptor);
  EXPECT_EQ(settled(std::move(first)).status, 0u);
  EXPECT_EQ(settled(std::move(second)).status, 0u);
  EXPECT_NE(service::find_job("second"), nullptr);
}

TEST_F(AccountOfCaller, is_asked_for_again_when_the_client_of_the_first_question_has_left) {
  pam_says("pam_permit.so");
  create("first").pending.reset();
  EXPECT_EQ(settled(create("second")).status, 0u);
  EXPECT_EQ(service::find_job("first"), nullptr);
}

TEST_F(AccountOfCaller, of_the_administrator_is_never_asked_for) {
  pam_says("pam_deny.so");
  bool asked = true;
  EXPECT_EQ(settled(create("job", root()), &asked).status, 0u);
  EXPECT_FALSE(asked);
}

TEST_F(AccountOfCaller, is_believed_for_a_short_time_a_refused_one_for_a_shorter) {
  const auto now = Accounts::Clock::now();
  const auto ask = [&](Accounts::Clock::time_point at, bool *asked) {
    return settled(accounts_.if_usable("nobody", at, [] { return host::Answer(); }), asked).status;
  };
  bool asked = false;
  pam_says("pam_deny.so");
  EXPECT_EQ(ask(now, &asked), host::err_account_refused);
  pam_says("pam_permit.so");
  EXPECT_EQ(ask(now + Accounts::refused_for / 2, &asked), host::err_account_refused);
  EXPECT_FALSE(asked);
  EXPECT_EQ(ask(now + Accounts::accepted_for, &asked), 0u);
  EXPECT_TRUE(asked);
  pam_says("pam_deny.so");
  EXPECT_EQ(ask(now + Accounts::accepted_for / 2, &asked), 0u);
  EXPECT_FALSE(asked);
  EXPECT_EQ(ask(now + 100 * Accounts::accepted_for, &asked), host::err_account_refused);
}

}  // namespace
}  // namespace service_test
