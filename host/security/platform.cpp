// SPDX-License-Identifier: Apache-2.0
#include "platform/security.h"

#include <cstdlib>
#include <cstring>

#include "host/errors.h"
#include "host/guard.h"
#include "host/security/record.h"
#include "host/security/secret.h"
#include "host/security/security.h"
#include "host/status.h"

namespace host {

namespace {

// Operations of cmi_security_user_config.
constexpr uint32_t operation_read = 1;
constexpr uint32_t operation_store = 3;
constexpr uint32_t operation_remove = 4;

Result<Bytes> ask_service(HostOperation operation, const sch_security_user_rec &record) {
  return control_request(static_cast<uint32_t>(operation), bytes_of(record));
}

Result<sch_security_user_rec> read_from_service(const sch_security_user_rec &asked) {
  const Result<Bytes> reply = ask_service(HostOperation::security_read, asked);
  if (!reply) return reply.error();
  sch_security_user_rec record = {};
  if (reply->size() != sizeof record) return error_of(err_bad_reply);
  std::memcpy(&record, reply->data(), sizeof record);
  if (!is_terminated(record)) return error_of(err_bad_reply);
  return record;
}

uint32_t read_into(sch_security_user_rec *record, const std::string &user) {
  const auto read = security_is_service() ? security_read(user) : read_from_service(*record);
  if (read) *record = *read;
  return read.code();
}

uint32_t configure(uint32_t operation, sch_security_user_rec *record) {
  const bool here = security_is_service();
  const std::string user(text_in(record->user_name));
  switch (operation) {
    case operation_read:
      return read_into(record, user);
    case operation_store:
      return here ? security_store(*record).code() : ask_service(HostOperation::security_store, *record).code();
    case operation_remove:
      return here ? security_remove(user).code() : ask_service(HostOperation::security_remove, *record).code();
    default:
      return err_bad_value;
  }
}

uint32_t no_memory() {
  return err_no_memory;
}

uint32_t authenticate(const std::string &user, const std::string &sealed) {
  if (security_is_service()) return security_authenticate(user, sealed).code();
  const sch_security_user_rec record = security_record(user, security_form_sealed, sealed);
  return ask_service(HostOperation::security_authenticate, record).code();
}

}  // namespace

}  // namespace host

using namespace host;

int check_if_user_remote(uint32_t, const char *user_name) {
  // Without memory the stricter answer: a remote user needs a stored password.
  return guarded([&] { return user_is_local(user_name) ? 0 : 1; }, [] { return 1; });
}

int cmi_security_user_config(uint32_t, uint32_t operation, struct sch_security_user_rec *record) {
  if (!is_terminated(*record)) return static_cast<int>(err_bad_value);
  return static_cast<int>(guarded([&] { return configure(operation, record); }, no_memory));
}

// Returns the sealed text itself as the "clear" one: only the service can open it (host/security/security.h).
int security_conf_decrypt(const char *text, uint32_t length_with_nul, uint32_t form, uint32_t, uint32_t, char **clear,
                          uint32_t *clear_length) {
  *clear = nullptr;
  *clear_length = 0;
  if (form != security_form_sealed) return -1;
  const std::size_t length = ::strnlen(text, length_with_nul);
  if (length + 1 != length_with_nul) return -1;
  *clear = ::strndup(text, length);
  if (*clear == nullptr) return -1;
  *clear_length = static_cast<uint32_t>(length);
  return 0;
}

int aaa_scheduler_authenticate(const char *user_name, const char *clear_password, const char *, const char *,
                               const char *, uint32_t, aaa_result *result) {
  *result = {};
  const uint32_t status = guarded([&] { return authenticate(user_name, clear_password); }, no_memory);
  result->words[0] = status;
  result->words[1] = status == 0 ? 1 : 0;
  return status == 0 || status == SCH_STATUS_AUTHENTICATION_FAILED ? 0 : static_cast<int>(status);
}
