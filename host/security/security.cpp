// SPDX-License-Identifier: Apache-2.0
#include "host/security/security.h"

#include <cstring>
#include <string_view>

#include "host/security/authentication.h"
#include "host/security/key.h"
#include "host/security/passwords.h"
#include "host/security/record.h"
#include "host/security/seal.h"
#include "host/security/users.h"
#include "host/status.h"

namespace host {

namespace {

bool is_service = false;

uint32_t to_sealed(const std::string &user, const sch_security_user_rec &record, std::string *sealed) {
  const std::string_view password = text_of(record.password);
  if (record.form == security_form_clear) return seal_password(user, password, sealed);
  if (record.form != security_form_sealed) return err_bad_value;
  *sealed = password;
  ClearText clear;
  return open_password(user, *sealed, &clear);
}

std::shared_ptr<Authentication> start_authentication(const std::string &user, const std::string &sealed,
                                                     uint32_t *status) {
  const NoCore no_core;
  ClearText clear;
  *status = open_password(user, sealed, &clear);
  if (*status == err_bad_value) *status = SCH_STATUS_AUTHENTICATION_FAILED;
  return *status == 0 ? Authentication::start(user, clear, status) : nullptr;
}

}  // namespace

uint32_t security_become_service() {
  SealedPasswords passwords;
  if (const uint32_t status = read_passwords(&passwords)) return status;
  const uint32_t status = provide_security_key(!passwords.empty());
  is_service = status == 0;
  return status;
}

bool security_is_service() {
  return is_service;
}

uint32_t security_read(const std::string &user, sch_security_user_rec *record) {
  SealedPasswords passwords;
  if (const uint32_t status = read_passwords(&passwords)) return status;
  const auto found = passwords.find(user);
  if (found == passwords.end()) return SCH_STATUS_NO_PASSWORD;
  *record = security_record(user, security_form_sealed, found->second);
  return 0;
}

uint32_t security_store(const sch_security_user_rec &record) {
  const NoCore no_core;
  const std::string user(text_of(record.user_name));
  if (!is_terminated(record) || !is_user_name(user)) return err_bad_value;
  SealedPasswords passwords;
  if (const uint32_t status = read_passwords(&passwords)) return status;
  std::string sealed;
  if (const uint32_t status = to_sealed(user, record, &sealed)) return status;
  passwords.insert_or_assign(user, sealed);
  return write_passwords(passwords);
}

uint32_t security_remove(const std::string &user) {
  SealedPasswords passwords;
  if (const uint32_t status = read_passwords(&passwords)) return status;
  return passwords.erase(user) == 0 ? SCH_STATUS_NO_PASSWORD : write_passwords(passwords);
}

uint32_t security_authenticate(const std::string &user, const std::string &sealed) {
  uint32_t status = 0;
  const std::shared_ptr<Authentication> authentication = start_authentication(user, sealed, &status);
  return authentication ? authentication->wait() : status;
}

Answer security_authenticate_later(const std::string &user, const std::string &sealed) {
  Answer answer;
  answer.pending = start_authentication(user, sealed, &answer.status);
  return answer;
}

}  // namespace host
