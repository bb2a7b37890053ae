// SPDX-License-Identifier: Apache-2.0
// What the memory tracker offers beyond platform/memory.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace host {

uint32_t tracked_size(const void *block);  // as requested; the block must be allocated
size_t tracked_bytes();                    // of all allocated blocks

struct MemoryUse {  // of one type of one owner
  uint32_t owner, type;
  const char *what;
  uint64_t live_blocks, live_bytes, peak_bytes, allocations, failures;
};
struct MemoryUses {
  std::vector<MemoryUse> types;
  uint64_t misuses = 0;
};
MemoryUses memory_uses();  // what memory_statistics() prints

}  // namespace host
