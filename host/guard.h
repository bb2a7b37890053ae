// SPDX-License-Identifier: Apache-2.0
// The one guard where C++ is called by what knows no exceptions (the library, a C library's callbacks), or has to go on
// whatever happens.
#pragma once

#include <new>

namespace host {

// Does `operation`; where memory ends in it, `without_memory` instead. Other exceptions are mistakes in the program,
// and go on.
template <typename Operation, typename Otherwise>
auto guarded(Operation operation, Otherwise without_memory) -> decltype(operation()) {
  try {
    return operation();
  } catch (const std::bad_alloc &) {
    return without_memory();
  }
}

}  // namespace host
