// SPDX-License-Identifier: Apache-2.0
// The conditions under which the tests run.
#pragma once

#include <cstdlib>

namespace conditions {

// ./dev test --long: everything instead of a sample.
inline bool is_long() {
  return std::getenv("SCHEDCLI_LONG_TESTS") != nullptr;
}

// A limit of the address space would be one of the sanitizer's own memory.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool memory_is_the_sanitizers = true;
#else
inline constexpr bool memory_is_the_sanitizers = false;
#endif

}  // namespace conditions
