// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <string_view>
#include <utility>

#include "host/transport/transport.h"

namespace service {

inline host::Answer with_status(uint32_t status) {
  host::Answer answer;
  answer.status = status;
  return answer;
}

inline host::Answer with_reply(host::Bytes reply) {
  host::Answer answer;
  answer.reply = std::move(reply);
  return answer;
}

inline void append_text(host::Bytes *bytes, std::string_view text) {
  const auto *start = reinterpret_cast<const std::byte *>(text.data());
  bytes->insert(bytes->end(), start, start + text.size());
}

inline host::Answer with_text(std::string_view text) {
  host::Bytes reply;
  append_text(&reply, text);
  return with_reply(std::move(reply));
}

template <typename Record>
void append_record(host::Bytes *bytes, const Record &record) {
  append_text(bytes, {reinterpret_cast<const char *>(&record), sizeof record});
}

}  // namespace service
