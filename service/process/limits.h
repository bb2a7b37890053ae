// SPDX-License-Identifier: Apache-2.0
// What a run may use. It is part of the task, and comes from the settings of the user's class.
#pragma once

#include <cstddef>
#include <cstdint>

#include "service/limits.h"

namespace service {

struct Limits {
  unsigned time_s = job_time_limit_s;   // then SIGTERM to everything that the run has started
  unsigned grace_ms = job_grace_ms;     // then SIGKILL
  uint64_t memory_bytes = 0;            // 0: none; with a control group of the whole run, otherwise of each process
  uint32_t tasks = 0;                   // 0: none; with a control group of the run, otherwise of all of its owner's
  uint32_t cpu_percent = 0;             // 0: none; of one processor; needs a control group
  size_t output_bytes = capture_limit;  // that are kept; the rest is only counted
  int nice = 0;                         // -20 to 19

  bool operator==(const Limits &) const = default;
};

// With less even the interpreter may not start.
inline constexpr uint64_t least_memory_bytes = 16ULL * 1024 * 1024;

}  // namespace service
