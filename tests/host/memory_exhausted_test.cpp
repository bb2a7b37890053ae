// SPDX-License-Identifier: Apache-2.0
// The tracker's object is linked in here, so that its malloc can fail.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "host/debug.h"
#include "platform/memory.h"

namespace {

bool exhausted = false;

TEST(memory_tracker, gives_null_and_counts_a_failure_when_memory_is_exhausted) {
  exhausted = true;
  void *block = mtrack_alloc(1, 100, 40);
  exhausted = false;
  EXPECT_EQ(block, nullptr);
  const std::string row = "    1  100  other" + std::string(41, ' ') + "0            0            0            0";
  const std::string text = host::memory_statistics();
  EXPECT_NE(text.find(row + "        1\n"), std::string::npos) << text;
}

}  // namespace

extern "C" void *__real_malloc(size_t size);
extern "C" void *__wrap_malloc(size_t size) {
  return exhausted ? nullptr : __real_malloc(size);
}
