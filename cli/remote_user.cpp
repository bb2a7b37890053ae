// SPDX-License-Identifier: Apache-2.0
// A remote user's jobs run later and unattended, so that user must have stored a password to be authenticated with.
#include <unistd.h>

#include <cstdlib>

#include "cli/security_user.h"
#include "diag/trace.h"

namespace {

constexpr size_t host_name_size = 130;

bool empty(const char *text) {
  return text == nullptr || *text == '\0';
}

// The clear text that security_conf_decrypt() allocates; wiped and freed at the end.
struct ClearText {
  char *text = nullptr;
  uint32_t length = 0;

  ClearText() = default;
  ClearText(const ClearText &) = delete;
  ClearText &operator=(const ClearText &) = delete;
  ~ClearText() {
    if (text != nullptr) explicit_bzero(text, length);
    std::free(text);
  }
};

bool is_remote(uint32_t shell_handle, const char *user_name) {
  if (check_if_user_remote(shell_handle, user_name) != 0) return true;
  SCH_TRACE_CLI(" Not remote User\n");
  return false;
}

uint32_t read_password(uint32_t shell_handle, const char *user_name, SecurityUser *user) {
  if (user->apply(shell_handle, PasswordOperation::read) == 0) return 0;
  SCH_TRACE_CLI("remote user %s auth passwd not specified", user_name);
  return SCH_STATUS_NO_PASSWORD;
}

bool decrypt(SecurityUser *user, ClearText *clear) {
  const char *sealed = (*user)->password;
  const auto length_with_nul = static_cast<uint32_t>(std::strlen(sealed) + 1);
  const int result = security_conf_decrypt(sealed, length_with_nul, (*user)->form, 0, 0, &clear->text, &clear->length);
  return result == 0 && clear->text != nullptr && clear->length != 0;
}

bool authenticate(const char *user_name, const char *clear_password, const char *host_name) {
  aaa_result result = {};
  const int status = aaa_scheduler_authenticate(user_name, clear_password, "login", "default", host_name, 0, &result);
  return status == 0 && result.words[1] == 1;
}

uint32_t check_password(const char *user_name, SecurityUser *user) {
  char host_name[host_name_size] = {};
  gethostname(host_name, sizeof host_name);
  host_name[sizeof host_name - 1] = '\0';  // gethostname need not terminate a name that it cut
  SCH_TRACE_CLI("Passwd for user %s returned from securityD : %s", user_name, (*user)->password);
  ClearText clear;
  if (!decrypt(user, &clear)) {
    SCH_TRACE_CLI("Decryption of passwd for user %s Failed ", user_name);
    return SCH_STATUS_AUTHENTICATION_FAILED;
  }
  if (authenticate(user_name, clear.text, host_name)) return 0;
  SCH_TRACE_CLI("AAA auth for user %s Failed ", user_name);
  return SCH_STATUS_AUTHENTICATION_FAILED;
}

}  // namespace

uint32_t sch_validate_remote_user(uint32_t shell_handle, const char *user_name) {
  if (empty(user_name)) return SCH_STATUS_NO_USER_NAME;
  SecurityUser user(user_name);
  SCH_TRACE_SERVICE(trace_config, "user %s", user_name);  // meant: the one trace here that debug_level gates
  if (!is_remote(shell_handle, user_name)) return 0;
  return read_password(shell_handle, user_name, &user);
}

uint32_t sch_validate_authentication_passwd(uint32_t shell_handle, const char *user_name) {
  if (empty(user_name)) return SCH_STATUS_NO_USER_NAME;
  SecurityUser user(user_name);
  SCH_TRACE_CLI("user %s", user_name);
  if (!is_remote(shell_handle, user_name)) return 0;
  const uint32_t status = read_password(shell_handle, user_name, &user);
  return status != 0 ? status : check_password(user_name, &user);
}
