// SPDX-License-Identifier: Apache-2.0
// Receiving the messages of one job-log answer.
#pragma once

#include "schedcli.h"
#include "show/reply.h"

namespace show {

// What the length holds before a message is parsed. No message is that long: a parser that left the length alone is
// noticed.
inline constexpr uint32_t log_length_preset = UINT32_MAX;

// The next message of the answer; a failure is printed here.
bool receive_log_message(uint32_t mts_handle, const mts_selector *selector, Reply *reply);

// The message, or null, which is printed here, when it holds less than it announces.
const sch_log_entry *complete_log_message(const Reply &reply);

// The piece of output that a message carries.
inline const char *piece_of(const sch_log_entry *message) {
  return reinterpret_cast<const char *>(message + 1);
}

}  // namespace show
