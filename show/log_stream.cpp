// SPDX-License-Identifier: Apache-2.0
#include "show/log_stream.h"

#include <cstdio>

#include "diag/trace.h"

namespace show {

namespace {

bool fail(const char *reason) {
  std::puts(reason);
  return false;
}

// Only the answers to this one request.
mts_selector selector_of(const cmi_sent_request *sent) {
  return {{1, 0, 0, mts_rr_token_get(sent)}};
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

int display_log_entries(uint32_t mts_handle, const cmi_sent_request *sent) {
  const mts_selector selector = show::selector_of(sent);
  for (;;) {
    show::Reply reply(show::log_length_preset);
    if (!show::receive_log_message(mts_handle, &selector, &reply)) return -1;
    // An empty log is told by the count alone.
    if (reply.holds(sizeof(uint32_t)) && *reply.as<uint32_t>() == 0) return 0;
    const sch_log_entry *message = show::complete_log_message(reply);
    if (message == nullptr) return -1;
    SCH_TRACE_CLI("***LOG ENTRY count %d entry %d", static_cast<int>(message->count),
                  static_cast<int>(message->number));
    collate_and_display_log(mts_handle, message, &selector);  // one entry's failure does not end the listing
    if (message->number == message->count) return 0;
  }
}
