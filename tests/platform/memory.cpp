// SPDX-License-Identifier: Apache-2.0
#include "platform/memory.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "tests/platform/state.h"

namespace platform_test {
namespace {

// New memory holds this, so that a record that should be zero-filled and is not shows.
constexpr int garbage = 0xa5;

std::map<void *, uint32_t> &blocks() {  // memory type by block
  static std::map<void *, uint32_t> all;
  return all;
}

}  // namespace

void release_memory() {
  for (const auto &[block, type] : blocks())
    ::operator delete(block);
  blocks().clear();
}

}  // namespace platform_test

using namespace platform_test;

void *mtrack_alloc(uint32_t owner, uint32_t mem_type, uint32_t size) {
  note("mtrack_alloc %u %u %u", owner, mem_type, size);
  if (fake.alloc.fails() || size > fake.largest_block) return nullptr;
  void *block =
      fake.next_block != nullptr ? std::exchange(fake.next_block, nullptr) : ::operator new(size, std::nothrow);
  if (block == nullptr) return nullptr;
  std::memset(block, garbage, size);
  blocks()[block] = mem_type;
  ++fake.live[mem_type];
  return block;
}

void mtrack_free(void *memory) {
  if (memory == nullptr) {
    note("mtrack_free null");
    return;
  }
  const auto found = blocks().find(memory);
  if (found == blocks().end()) {
    std::fprintf(stderr, "mtrack_free: %p is not a live block\n", memory);
    std::abort();
  }
  note("mtrack_free %u", found->second);
  --fake.live[found->second];
  blocks().erase(found);
  ::operator delete(memory);
}
