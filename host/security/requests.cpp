// SPDX-License-Identifier: Apache-2.0
// The service's answers to the requests that host/security/platform.cpp sends.
#include <cstring>

#include "host/security/record.h"
#include "host/security/secret.h"
#include "host/security/security.h"
#include "host/status.h"

namespace host {

namespace {

struct WipedRecord {
  sch_security_user_rec record = {};
  ~WipedRecord() { explicit_bzero(&record, sizeof record); }
};

bool take_record(std::span<const std::byte> payload, sch_security_user_rec *record) {
  if (payload.size() != sizeof *record) return false;
  std::memcpy(record, payload.data(), sizeof *record);
  return is_terminated(*record) && record->kind == security_kind;
}

Answer with_status(uint32_t status) {
  Answer answer;
  answer.status = status;
  return answer;
}

Answer read_for(const std::string &user) {
  const Result<sch_security_user_rec> record = security_read(user);
  if (!record) return with_status(record.code());
  const std::span<const std::byte> bytes = bytes_of(*record);
  Answer answer;
  answer.reply = Bytes(bytes.begin(), bytes.end());
  return answer;
}

}  // namespace

Answer answer_security_request(uint32_t operation, std::span<const std::byte> payload, const MayUse &may_use) {
  const NoCore no_core;
  WipedRecord request;
  if (!take_record(payload, &request.record)) return with_status(err_bad_request);
  const std::string user(text_in(request.record.user_name));
  if (!may_use(user)) return with_status(err_not_permitted);
  switch (static_cast<HostOperation>(operation)) {
    case HostOperation::security_read:
      return read_for(user);
    case HostOperation::security_store:
      return with_status(security_store(request.record).code());
    case HostOperation::security_remove:
      return with_status(security_remove(user).code());
    case HostOperation::security_authenticate:
      return security_authenticate_later(user, std::string(text_in(request.record.password)));
    default:
      return with_status(err_unknown_opcode);
  }
}

}  // namespace host
