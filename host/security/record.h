// SPDX-License-Identifier: Apache-2.0
// The security user record: its text fields, as they are checked and filled.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "host/text_field.h"
#include "host/transport/transport.h"
#include "schedcli.h"

namespace host {

inline constexpr uint32_t security_kind = 2;
inline constexpr uint32_t security_form_clear = 0;
inline constexpr uint32_t security_form_sealed = 7;

inline bool is_terminated(const sch_security_user_rec &record) {
  return text_in(record.user_name).size() < sizeof record.user_name &&
         text_in(record.password).size() < sizeof record.password;
}

inline sch_security_user_rec security_record(std::string_view user, uint32_t form, std::string_view password) {
  sch_security_user_rec record = {};
  put_text(user, record.user_name);
  record.kind = security_kind;
  record.form = form;
  put_text(password, record.password);
  return record;
}

inline std::span<const std::byte> bytes_of(const sch_security_user_rec &record) {
  return std::as_bytes(std::span(&record, 1));
}

}  // namespace host
