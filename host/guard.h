// SPDX-License-Identifier: Apache-2.0
// Keeps exceptions for want of memory from leaving a callback of C code, or from ending code that has to go on.
#pragma once

#include <new>

namespace host {

// The result of `operation`, or of `without_memory` if the operation runs out of memory. Other exceptions are
// programming errors and pass through.
template <typename Operation, typename Otherwise>
auto guarded(Operation operation, Otherwise without_memory) -> decltype(operation()) {
  try {
    return operation();
  } catch (const std::bad_alloc &) {
    return without_memory();
  }
}

}  // namespace host
