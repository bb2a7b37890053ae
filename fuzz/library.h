// SPDX-License-Identifier: Apache-2.0
// The library on the tests' platform, as it is loaded.
#pragma once

#include "fuzz/input.h"
#include "tests/platform/platform.h"

namespace fuzz {

// A size beyond this is a lie of the input; memory is not what these targets look for.
inline constexpr uint32_t largest_block = 1 << 16;

// What is never freed on purpose is given back, and no record of calls is kept.
inline void reset() {
  platform_test::reset_library();
  platform_test::fake.reset();
  platform_test::fake.scripted_libc = false;
  platform_test::fake.record_calls = false;
  platform_test::fake.largest_block = largest_block;
}

}  // namespace fuzz
