// SPDX-License-Identifier: Apache-2.0
#include "platform/security.h"

#include <algorithm>
#include <iterator>

#include "tests/platform/state.h"

using namespace platform_test;

namespace {
constexpr uint32_t read_password = 1, store_password = 3, remove_password = 4;
}

int check_if_user_remote(uint32_t shell_handle, const char *user_name) {
  note("check_if_user_remote %u %s", shell_handle, user_name);
  const bool turned_remote = fake.user_check.nth != 0 && fake.user_check.fails();
  return turned_remote || fake.remote_users.contains(user_name) ? 1 : 0;
}

int cmi_security_user_config(uint32_t shell_handle, uint32_t operation, sch_security_user_rec *record) {
  note("cmi_security_user_config %u %u user=%.128s kind=%u form=%u password=%.128s", shell_handle, operation,
       record->user_name, record->kind, record->form, record->password);
  fake.security_records.push_back(*record);
  const std::string user(record->user_name, strnlen(record->user_name, sizeof record->user_name));
  if (operation == read_password) {
    const auto found = fake.passwords.find(user);
    if (found == fake.passwords.end()) return 1;
    *record = found->second;
    return 0;
  }
  if (fake.security_result != 0) return fake.security_result;
  if (operation == store_password) fake.passwords[user] = *record;
  if (operation == remove_password) fake.passwords.erase(user);
  return 0;
}

int security_conf_decrypt(const char *text, uint32_t length_with_nul, uint32_t form, uint32_t zero1, uint32_t zero2,
                          char **clear, uint32_t *clear_length) {
  note("security_conf_decrypt %s %u %u %u %u", text, length_with_nul, form, zero1, zero2);
  if (fake.decrypt_gives_text) {
    *clear = static_cast<char *>(copy_for_caller(std::string(fake.clear_text.c_str(), fake.clear_text.size() + 1)));
    *clear_length = static_cast<uint32_t>(fake.clear_text.size());
  } else {
    *clear_length = fake.decrypt_length_without_text;
  }
  return fake.decrypt_result;
}

int aaa_scheduler_authenticate(const char *user_name, const char *clear_password, const char *service,
                               const char *method_list, const char *host_name, uint32_t zero, aaa_result *result) {
  note("aaa_scheduler_authenticate %s %s %s %s %s %u", user_name, clear_password, service, method_list, host_name,
       zero);
  std::copy_n(fake.aaa_words, std::size(fake.aaa_words), result->words);
  return fake.aaa_result_code;
}
