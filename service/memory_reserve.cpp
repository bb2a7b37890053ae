// SPDX-License-Identifier: Apache-2.0
#include "service/memory_reserve.h"

#include <sys/mman.h>

#include <cstddef>
#include <new>

namespace service {
namespace {

// Only address space, which takes no memory; released, it is enough for some outputs of runs and a few requests.
constexpr size_t reserve_bytes = size_t{4} << 20;

void *reserve = nullptr;  // null: not allocated, or released
bool is_wanted = false;

bool take() {
  void *const memory = mmap(nullptr, reserve_bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) return false;
  reserve = memory;
  return true;
}

// As the handler of operator new, which tries again after it.
void give() {
  if (reserve == nullptr) throw std::bad_alloc();
  munmap(reserve, reserve_bytes);
  reserve = nullptr;
}

}  // namespace

void keep_memory_reserve() {
  is_wanted = true;
  if (take()) std::set_new_handler(give);
}

bool memory_is_short() {
  return is_wanted && reserve == nullptr && !take();
}

}  // namespace service
