// SPDX-License-Identifier: Apache-2.0
#include "platform/bitset.h"

int bitset_next_bit(const uint32_t *set, int bits, int after) {
  for (int bit = after + 1; bit < bits; ++bit)
    if ((set[bit / 32] >> (bit % 32) & 1) != 0) return bit;
  return -1;
}
