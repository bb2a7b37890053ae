// SPDX-License-Identifier: Apache-2.0
#include "host/security/account_state.h"
#include "tests/host/security_fixture.h"

namespace security_test {

constexpr time_t day = 86400, now = 20000 * day + 12 * 3600;

class AccountState : public SecurityTest {
 protected:
  ~AccountState() override { host::use_shadow_file("/etc/shadow"); }
  std::optional<std::string> state_of(const std::string &fields) {
    write_file(file_, "other:!$6$a$b-0123456789:1::::::\nuser:" + fields + "\nuser2:*:1:::::1:\n");
    host::use_shadow_file(file_.c_str());
    return host::why_account_is_closed("user", now);
  }

  const std::string file_ = state() + "/shadow";
};

TEST_F(AccountState, a_password_behind_a_mark_is_a_locked_account) {
  for (const char *password :
       {"!$6$salt$hash-of-sixty-four", "!!$y$j9T$salt$hash", "!ab01FAX.bQRSU", "!_J9..rasmBYk8r9AiWNc", "!$6$a$b"})
    EXPECT_EQ(state_of(std::string(password) + ":19000:0:99999:7:::"), "its account is locked") << password;
}

TEST_F(AccountState, an_account_that_never_had_a_password_is_open) {
  for (const char *password : {"*", "!", "!!", "!*", "*LK*", "", "x", "$6$salt$hash-of-sixty-four"})
    EXPECT_EQ(state_of(std::string(password) + ":19000:0:99999:7:::"), std::nullopt) << password;
}

TEST_F(AccountState, an_account_is_closed_from_the_day_of_its_expiry_on) {
  EXPECT_EQ(state_of("*:19000:0:99999:7::20001:"), std::nullopt);
  for (const char *expiry : {"20000", "19999", "1", "0"})
    EXPECT_EQ(state_of("*:19000:0:99999:7::" + std::string(expiry) + ":"), "its account has expired") << expiry;
}

TEST_F(AccountState, who_is_not_in_the_file_and_a_file_that_cannot_be_read_leave_it_to_others) {
  state_of("*:1::::::");
  EXPECT_EQ(host::why_account_is_closed("use", now), std::nullopt);
  host::use_shadow_file("/no/such/file");
  EXPECT_EQ(host::why_account_is_closed("other", now), std::nullopt);
}

}  // namespace security_test
