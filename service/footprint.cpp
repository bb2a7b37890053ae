// SPDX-License-Identifier: Apache-2.0
#include "service/footprint.h"

#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace service {

// By default glibc raises its mmap threshold when a large block is freed, and from then on keeps freed blocks of that
// size in the heap: megabytes that only the start needs.
void keep_freed_memory_small() {
  constexpr int large_block = 128 * 1024;
  mallopt(M_MMAP_THRESHOLD, large_block);
  mallopt(M_TRIM_THRESHOLD, large_block);
  mallopt(M_ARENA_MAX, 1);  // the thread for the disk is not to have a heap of its own
}

namespace {

// The loader gives addresses as numbers.
void *at(uintptr_t address) {
  return reinterpret_cast<void *>(address);  // NOLINT(performance-no-int-to-ptr)
}

struct Range {
  void *start;
  size_t size;
};

// Such an object's code was changed when it was loaded: what its file has would be wrong.
bool changes_its_code(const dl_phdr_info &object) {
  for (int i = 0; i < object.dlpi_phnum; i++) {
    if (object.dlpi_phdr[i].p_type != PT_DYNAMIC) continue;
    const auto *tag = static_cast<const ElfW(Dyn) *>(at(object.dlpi_addr + object.dlpi_phdr[i].p_vaddr));
    for (; tag->d_tag != DT_NULL; tag++)
      if (tag->d_tag == DT_TEXTREL || (tag->d_tag == DT_FLAGS && (tag->d_un.d_val & DF_TEXTREL) != 0)) return true;
  }
  return false;
}

// What the program and its libraries only read: code, constants and tables of names.
int add_parts_read(dl_phdr_info *object, size_t, void *found) {
  if (changes_its_code(*object)) return 0;
  const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  for (int i = 0; i < object->dlpi_phnum; i++) {
    const ElfW(Phdr) &part = object->dlpi_phdr[i];
    if (part.p_type != PT_LOAD || (part.p_flags & PF_W) != 0) continue;
    const uintptr_t start = object->dlpi_addr + part.p_vaddr, first = start & ~(page - 1);
    static_cast<std::vector<Range> *>(found)->push_back({at(first), start + part.p_memsz - first});
  }
  return 0;
}

// What is needed again comes from the kernel's cache. All parts are known before the first is dropped, as each object's
// list of them is in one.
void drop_parts_read() {
  std::vector<Range> parts;
  dl_iterate_phdr(add_parts_read, &parts);
  for (const Range &part : parts)
    madvise(part.start, part.size, MADV_DONTNEED);
}

}  // namespace

void give_back_start() {
  drop_parts_read();
  malloc_trim(0);
}

}  // namespace service
