// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cassert>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "service/request/decode.h"

namespace service {

// The record at the payload's beginning. The caller has checked the payload's size.
template <typename Record>
Record record_of(Payload payload) {
  static_assert(std::is_trivially_copyable_v<Record>);
  assert(payload.size() >= sizeof(Record));
  Record record;
  std::memcpy(&record, payload.data(), sizeof record);
  return record;
}

inline std::string_view text_of(Payload payload) {
  return {reinterpret_cast<const char *>(payload.data()), payload.size()};
}

}  // namespace service
