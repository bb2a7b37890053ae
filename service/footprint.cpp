// SPDX-License-Identifier: Apache-2.0
#include "service/footprint.h"

#include <malloc.h>

namespace service {

// Left to itself, the allocator takes the first large block that is freed for a sign that blocks of that size are
// usual, and keeps all of them from then on: megabytes that the start alone needed.
void keep_freed_memory_small() {
  constexpr int large_block = 128 * 1024;
  mallopt(M_MMAP_THRESHOLD, large_block);
  mallopt(M_TRIM_THRESHOLD, large_block);
}

void give_back_start() {
  malloc_trim(0);
}

}  // namespace service
