// SPDX-License-Identifier: Apache-2.0
#include "platform/bitset.h"

#include "tests/platform/platform.h"

using platform_test::fake;

int bitset_next_bit(const uint32_t *set, int bits, int after) {
  fake.bits_after.push_back(after);
  for (const int bit : fake.bits)
    if (bit > after) return bit;
  if (!fake.bits.empty()) return -1;
  for (int bit = after + 1; bit < bits; ++bit)
    if ((set[bit / 32] >> (bit % 32) & 1) != 0) return bit;
  return -1;
}
