// SPDX-License-Identifier: Apache-2.0
#include "show/log_stream.h"

#include <cstdio>

namespace show {

namespace {

bool fail(const char *reason) {
  std::puts(reason);
  return false;
}

}  // namespace

bool receive_log_message(uint32_t mts_handle, const mts_selector *selector, Reply *reply) {
  mts_message message = {};
  if (mts_recv(mts_handle, &message, selector) != 0) return fail("Error on recv");
  if (cmi_parse_response(&message, reply->data_out(), reply->length_out()) != 0) return fail("Error cmi parsing");
  return true;
}

const sch_log_entry *complete_log_message(const Reply &reply) {
  const auto *message = reply.as<sch_log_entry>();
  if (reply.holds(sizeof *message) && reply.holds(sizeof *message + uint64_t{message->piece_length})) return message;
  fail("Error cmi parsing");
  return nullptr;
}

}  // namespace show
