// SPDX-License-Identifier: Apache-2.0
#include "service/footprint.h"

#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace service {
namespace {

// Never written to: what is dropped is in the file.
bool is_code(const ElfW(Phdr) & segment) {
  return segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0 && (segment.p_flags & PF_W) == 0;
}

int drop_code(dl_phdr_info *object, size_t, void *) {
  const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  for (const ElfW(Phdr) *segment = object->dlpi_phdr; segment != object->dlpi_phdr + object->dlpi_phnum; segment++) {
    if (!is_code(*segment)) continue;
    const uintptr_t start = object->dlpi_addr + segment->p_vaddr, first = start / page * page;
    (void)madvise(reinterpret_cast<void *>(first), start + segment->p_memsz - first, MADV_DONTNEED);
  }
  return 0;
}

}  // namespace

// Left to itself, the allocator takes the first large block that is freed for a sign that blocks of that size are
// usual, and keeps all of them from then on: megabytes that the start alone needed.
void keep_freed_memory_small() {
  constexpr int large_block = 128 * 1024;
  mallopt(M_MMAP_THRESHOLD, large_block);
  mallopt(M_TRIM_THRESHOLD, large_block);
}

void give_back_start() {
  malloc_trim(0);
  dl_iterate_phdr(drop_code, nullptr);
}

}  // namespace service
