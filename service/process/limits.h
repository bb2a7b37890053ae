// SPDX-License-Identifier: Apache-2.0
// What a run may use. Handed in with its task; a class for each user group comes from the configuration.
#pragma once

#include <cstddef>
#include <cstdint>

#include "service/limits.h"

namespace service {

struct Limits {
  unsigned time_s = job_time_limit_s;   // then SIGTERM to everything that the run started
  unsigned grace_ms = job_grace_ms;     // then SIGKILL
  uint64_t memory_bytes = 0;            // 0: none; of all processes together in a group of its own, else of each
  uint32_t tasks = 0;                   // 0: none; of the run in a group of its own, else of all that its owner runs
  uint32_t cpu_percent = 0;             // 0: none; of one processor, only in a group of its own
  size_t output_bytes = capture_limit;  // kept; what comes after is counted
  int nice = 0;                         // -20 to 19
};

// Less could not even be started in.
inline constexpr uint64_t least_memory_bytes = 16ULL * 1024 * 1024;

}  // namespace service
