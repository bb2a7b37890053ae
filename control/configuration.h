// SPDX-License-Identifier: Apache-2.0
// How a whole configuration is asked for and answered.
#pragma once

#include <cstdint>

namespace control {

// Where it comes from.
enum class ConfigurationSource : uint32_t { text = 1, entry = 2, startup = 3 };

// The payload of apply_configuration; behind it from where the operator works, a NUL, and the command.
struct ConfigurationOrder {
  uint32_t source;           // ConfigurationSource
  uint32_t number;           // of the text or of the entry in the history
  uint32_t overlay;          // 1: what it does not name stays; 0: it goes
  uint32_t check;            // 1: nothing is changed
  uint32_t confirm_minutes;  // not 0: it is taken back then, unless it is confirmed
  uint32_t reserved;
  uint64_t base;  // fingerprint of the text that the caller has read; another one now: err_changed_since. 0: any
};
inline constexpr uint32_t confirm_minutes_limit = 1000;

// Behind it: the problems, a line each with the number of the text's line, a blank and words; the caller's
// configuration before; and as it is, or would be, after.
struct ConfigurationReply {
  uint32_t status;
  uint32_t flags;
  uint32_t problems_length, before_length;
};
inline constexpr uint32_t order_not_taken_over = 1;  // a flag: runs are under way, and what is new comes last

}  // namespace control
