// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstring>

#include "platform/security.h"
#include "tests/cli/exchange.h"
#include "tests/cli/freed_blocks.h"

namespace {

using namespace cli_test;

constexpr uint32_t no_name = 0x40bd0007, refused_password = 0x40bd000f, no_password = 0x40bd0010;

class RemoteUser : public CliTest {
 protected:
  static void make_remote(const char *sealed = nullptr, uint32_t form = 7) {
    fake.remote_users = {"bob"};
    if (sealed == nullptr) return;
    sch_security_user_rec record{};
    std::strcpy(record.user_name, "bob");
    record.kind = 2;
    record.form = form;
    std::strcpy(record.password, sealed);
    fake.passwords["bob"] = record;
  }
  static uint32_t quick(const char *name = "bob") { return sch_validate_remote_user(7, name); }
  static uint32_t full(const char *name = "bob") { return sch_validate_authentication_passwd(7, name); }
};

TEST_F(RemoteUser, no_name_fails_both_checks_at_once) {
  for (const char *name : {static_cast<const char *>(nullptr), ""}) {
    EXPECT_EQ(quick(name), no_name);
    EXPECT_EQ(full(name), no_name);
  }
  EXPECT_THAT(fake.calls, IsEmpty());
  EXPECT_THAT(fake.history, IsEmpty());
}

TEST_F(RemoteUser, a_local_user_passes_without_a_look_at_the_passwords) {
  EXPECT_EQ(quick(), 0u);
  EXPECT_EQ(full(), 0u);
  EXPECT_THAT(fake.calls, ElementsAre("check_if_user_remote 7 bob", "check_if_user_remote 7 bob"));
}

TEST_F(RemoteUser, a_remote_user_without_a_password_fails_both_checks) {
  make_remote();
  for (auto check : {quick, full}) {
    EXPECT_EQ(check("bob"), no_password);
    EXPECT_EQ(fake.traces(103).back(), "remote user bob auth passwd not specified");
  }
}

TEST_F(RemoteUser, the_record_of_the_lookup_is_zero_but_for_name_and_kind) {
  make_remote();
  quick();
  sch_security_user_rec expected{};
  std::strcpy(expected.user_name, "bob");
  expected.kind = 2;
  ASSERT_EQ(fake.security_records.size(), 1u);
  EXPECT_EQ(std::memcmp(&fake.security_records[0], &expected, sizeof expected), 0);
}

TEST_F(RemoteUser, a_long_name_stays_in_the_record_s_field) {
  const std::string name(200, 'n');
  fake.remote_users = {name};
  EXPECT_EQ(quick(name.c_str()), no_password);
  EXPECT_STREQ(fake.security_records.at(0).user_name, std::string(127, 'n').c_str());
}

TEST_F(RemoteUser, the_stored_form_goes_to_the_decryption) {
  make_remote("clear", 0);
  EXPECT_EQ(full(), 0u);
  EXPECT_EQ(fake.calls_with("security_conf_decrypt").at(0), "security_conf_decrypt clear 6 0 0 0");
}

TEST_F(RemoteUser, decryption_that_fails_or_gives_nothing_is_refused) {
  const struct {
    int result;
    bool gives_text;
    const char *text;
  } rows[] = {{1, false, ""}, {1, true, "secret"}, {-1, true, "secret"}, {0, false, ""}, {0, true, ""}};
  make_remote("sealed");
  for (const auto &row : rows) {
    fake.calls.clear();
    fake.decrypt_result = row.result;
    fake.decrypt_gives_text = row.gives_text;
    fake.clear_text = row.text;
    const auto outcome = run([] { return static_cast<int>(full()); });
    EXPECT_EQ(static_cast<uint32_t>(outcome.result), refused_password);
    EXPECT_EQ(outcome.freed, row.gives_text ? 1 : 0);
    EXPECT_THAT(fake.calls_with("aaa_"), IsEmpty());
  }
}

TEST_F(RemoteUser, a_length_without_text_is_refused) {
  make_remote("sealed");
  fake.decrypt_gives_text = false;
  fake.decrypt_length_without_text = 6;
  EXPECT_EQ(full(), refused_password);
  EXPECT_THAT(fake.calls_with("aaa_"), IsEmpty());
}

TEST_F(RemoteUser, authentication_needs_success_and_acceptance) {
  const struct {
    int result;
    uint32_t words[2];  // 1 in the second: accepted
    uint32_t status;
  } rows[] = {{0, {0, 1}, 0},
              {0, {5, 1}, 0},
              {0, {0, 0}, refused_password},
              {0, {1, 0}, refused_password},
              {0, {1, 2}, refused_password},
              {1, {0, 1}, refused_password},
              {-1, {0, 1}, refused_password},
              {1, {0, 0}, refused_password}};
  make_remote("sealed");
  for (const auto &row : rows) {
    fake.aaa_result_code = row.result;
    std::copy_n(row.words, 2, fake.aaa_words);
    const auto outcome = run([] { return static_cast<int>(full()); });
    EXPECT_EQ(static_cast<uint32_t>(outcome.result), row.status);
    EXPECT_EQ(outcome.freed, 1);
  }
}

// The record of a user, found in what was wiped by its password field.
std::string wiped_password(const std::string &wiped) {
  return wiped.size() == sizeof(sch_security_user_rec) ? wiped.c_str() + offsetof(sch_security_user_rec, password) : "";
}

TEST_F(RemoteUser, clear_text_and_records_are_wiped_on_every_path) {
  make_remote("sealed");
  for (bool accepts : {true, false}) {
    fake.aaa_words[1] = accepts ? 1 : 0;
    wiped().clear();
    full();
    ASSERT_EQ(wiped().size(), 2u);
    EXPECT_EQ(wiped()[0], "secret");
    EXPECT_EQ(wiped_password(wiped()[1]), "sealed");
  }
  fake.decrypt_result = 1;
  wiped().clear();
  full();
  EXPECT_EQ(wiped().at(0), "secret");
  wiped().clear();
  quick();
  ASSERT_EQ(wiped().size(), 1u);
  EXPECT_EQ(wiped_password(wiped()[0]), "sealed");
}

TEST_F(RemoteUser, a_host_name_without_terminator_or_at_all_is_harmless) {
  make_remote("sealed");
  fake.host_name = std::string(200, 'h');
  EXPECT_EQ(full(), 0u);
  EXPECT_EQ(fake.calls.back(), "aaa_scheduler_authenticate bob secret login default " + std::string(129, 'h') + " 0");
  fake.gethostname_result = -1;
  EXPECT_EQ(full(), 0u);
  EXPECT_EQ(fake.calls.back(), "aaa_scheduler_authenticate bob secret login default  0");
}

TEST_F(RemoteUser, a_stored_password_without_terminator_is_cut) {
  make_remote("sealed");
  std::memset(fake.passwords["bob"].password, 'x', sizeof fake.passwords["bob"].password);
  EXPECT_EQ(full(), 0u);
  EXPECT_EQ(fake.calls_with("security_conf_decrypt").at(0),
            "security_conf_decrypt " + std::string(127, 'x') + " 128 7 0 0");
}

TEST_F(RemoteUser, the_quick_check_s_first_trace_is_gated_by_debug_level) {
  cli_debug = 1;
  EXPECT_EQ(run([] { return static_cast<int>(quick()); }).err, " Not remote User\n\n");
  cli_debug = 0;
  debug_level = 103;
  EXPECT_EQ(run([] { return static_cast<int>(quick()); }).err, "");
  debug_level = 104;
  EXPECT_EQ(run([] { return static_cast<int>(quick()); }).err, "user bob\n");
}

TEST_F(RemoteUser, the_full_check_s_traces_are_gated_by_cli_debug) {
  debug_level = 104;
  EXPECT_EQ(run([] { return static_cast<int>(full()); }).err, "");
  cli_debug = 1;
  EXPECT_EQ(run([] { return static_cast<int>(full()); }).err, "user bob\n Not remote User\n\n");
}

}  // namespace
