// SPDX-License-Identifier: Apache-2.0
// The request that replaces a whole configuration, and its reply.
#pragma once

#include <cstdint>

namespace control {

// Where the wanted configuration comes from.
enum class ConfigurationSource : uint32_t { text = 1, entry = 2, startup = 3 };

// The payload of apply_configuration. Two texts follow for the history, with a NUL between: from where the operator
// works, and the command.
struct ConfigurationOrder {
  uint32_t source;           // ConfigurationSource
  uint32_t number;           // of the sent text, or of the entry in the history
  uint32_t overlay;          // 1: jobs, schedules and settings that it does not name stay; 0: they are removed
  uint32_t check;            // 1: a dry run
  uint32_t confirm_minutes;  // not 0: rolled back after so many minutes unless it is confirmed
  uint32_t reserved;
  uint64_t base;  // fingerprint of the text that the caller has edited: err_changed_since if it changed; 0: not checked
};
inline constexpr uint32_t confirm_minutes_limit = 1000;

// Followed by three texts: the problems, one a line (the number of the text's line, a blank, what is wrong); the
// caller's configuration before the change; and after it, or as it would be.
struct ConfigurationReply {
  uint32_t status;
  uint32_t flags;
  uint32_t problems_length, before_length;
};
inline constexpr uint32_t order_not_taken_over =
    1;  // flag: runs under way forbade it, so new jobs and schedules come last

}  // namespace control
