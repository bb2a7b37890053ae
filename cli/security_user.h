// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>

#include "db/text_field.h"
#include "platform/security.h"
#include "schedcli.h"

static_assert(sizeof(sch_security_user_rec) == 264);

inline constexpr uint32_t password_kind = 2;
inline constexpr uint32_t password_clear = 0;
inline constexpr uint32_t password_sealed = 7;

enum class PasswordOperation : uint32_t { read = 1, store = 3, remove = 4 };

// A user's record in the security configuration; it may hold a password, so it is wiped when it goes.
class SecurityUser {
 public:
  explicit SecurityUser(const char *user_name) {
    record_.kind = password_kind;
    copy_text(record_.user_name, user_name);
  }
  ~SecurityUser() { explicit_bzero(&record_, sizeof record_); }
  SecurityUser(const SecurityUser &) = delete;
  SecurityUser &operator=(const SecurityUser &) = delete;

  sch_security_user_rec *operator->() { return &record_; }
  int apply(uint32_t shell_handle, PasswordOperation operation) {
    const int result = cmi_security_user_config(shell_handle, static_cast<uint32_t>(operation), &record_);
    record_.user_name[sizeof record_.user_name - 1] = '\0';
    record_.password[sizeof record_.password - 1] = '\0';
    return result;
  }

 private:
  sch_security_user_rec record_ = {};
};
