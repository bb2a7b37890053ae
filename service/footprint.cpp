// SPDX-License-Identifier: Apache-2.0
#include "service/footprint.h"

#include <malloc.h>

namespace service {

// By default glibc raises its mmap threshold when a large block is freed, and from then on keeps freed blocks of that
// size in the heap: megabytes that only the start needs.
void keep_freed_memory_small() {
  constexpr int large_block = 128 * 1024;
  mallopt(M_MMAP_THRESHOLD, large_block);
  mallopt(M_TRIM_THRESHOLD, large_block);
  mallopt(M_ARENA_MAX, 1);  // the thread for the disk is not to have a heap of its own
}

void give_back_start() {
  malloc_trim(0);
}

}  // namespace service
