// SPDX-License-Identifier: Apache-2.0
// Memory of malloc(), freed at the end.
#pragma once

#include <cstdlib>
#include <memory>

struct FreeDeleter {
  void operator()(void *memory) const { std::free(memory); }
};
template <class T>
using FreePtr = std::unique_ptr<T, FreeDeleter>;
