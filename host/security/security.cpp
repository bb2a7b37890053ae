// SPDX-License-Identifier: Apache-2.0
#include "host/security/security.h"

#include <syslog.h>

#include "host/errors.h"
#include "host/security/authentication.h"
#include "host/security/key.h"
#include "host/security/passwords.h"
#include "host/security/record.h"
#include "host/security/seal.h"
#include "host/security/users.h"
#include "host/status.h"
#include "platform/syslog.h"

namespace host {

namespace {

bool is_service = false;

template <typename Value>
Result<Value> reported(Result<Value> result) {
  const bool files_are_bad = result.code() == err_io || result.code() == err_store_unusable;
  if (files_are_bad) tarn_syslog(LOG_ERR, "%s", result.error().text.c_str());
  return result;
}

Result<std::string> sealed_of(const std::string &user, const sch_security_user_rec &record) {
  if (record.form == security_form_clear) return seal_password(user, text_in(record.password));
  if (record.form != security_form_sealed) return error_of(err_bad_value);
  const std::string password(text_in(record.password));
  ClearText clear;
  if (const Result<void> opened = open_password(user, password, &clear); !opened) return opened.error();
  return password;
}

Result<sch_security_user_rec> read_record(const std::string &user) {
  const Result<SealedPasswords> passwords = read_passwords();
  if (!passwords) return passwords.error();
  const auto found = passwords->find(user);
  if (found == passwords->end()) return error_of(SCH_STATUS_NO_PASSWORD);
  return security_record(user, security_form_sealed, found->second);
}

Result<void> store_record(const sch_security_user_rec &record) {
  const std::string user(text_in(record.user_name));
  if (!is_terminated(record) || !is_user_name(user)) return error_of(err_bad_value);
  Result<SealedPasswords> passwords = read_passwords();
  if (!passwords) return passwords.error();
  const Result<std::string> sealed = sealed_of(user, record);
  if (!sealed) return sealed.error();
  passwords->insert_or_assign(user, *sealed);
  return write_passwords(*passwords);
}

Result<void> remove_record(const std::string &user) {
  Result<SealedPasswords> passwords = read_passwords();
  if (!passwords) return passwords.error();
  return passwords->erase(user) == 0 ? error_of(SCH_STATUS_NO_PASSWORD) : write_passwords(*passwords);
}

Result<std::shared_ptr<Authentication>> start_authentication(const std::string &user, const std::string &sealed) {
  const NoCore no_core;
  ClearText clear;
  if (const Result<void> opened = open_password(user, sealed, &clear); !opened)
    return opened.code() == err_bad_value ? error_of(SCH_STATUS_AUTHENTICATION_FAILED) : opened.error();
  return Authentication::start(user, clear);
}

}  // namespace

Result<void> security_become_service() {
  const Result<SealedPasswords> passwords = read_passwords();
  if (!passwords) return passwords.error();
  Result<void> provided = provide_security_key(!passwords->empty());
  is_service = provided.ok();
  return provided;
}

bool security_is_service() {
  return is_service;
}

Result<sch_security_user_rec> security_read(const std::string &user) {
  return reported(read_record(user));
}

Result<void> security_store(const sch_security_user_rec &record) {
  const NoCore no_core;
  return reported(store_record(record));
}

Result<void> security_remove(const std::string &user) {
  return reported(remove_record(user));
}

Result<void> security_authenticate(const std::string &user, const std::string &sealed) {
  const auto authentication = reported(start_authentication(user, sealed));
  if (!authentication) return authentication.error();
  return (*authentication)->wait();
}

Answer security_authenticate_later(const std::string &user, const std::string &sealed) {
  const auto authentication = reported(start_authentication(user, sealed));
  Answer answer;
  answer.status = authentication.code();
  if (authentication) answer.pending = *authentication;
  return answer;
}

}  // namespace host
