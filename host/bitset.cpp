// SPDX-License-Identifier: Apache-2.0
#include "platform/bitset.h"

#include <bit>

extern "C" int bitset_next_bit(const uint32_t *set, int bits, int after) {
  int bit = after < 0 ? 0 : after + 1;
  while (bit < bits) {
    const uint32_t rest = set[bit / 32] >> (bit % 32);
    if (rest != 0) {
      bit += std::countr_zero(rest);
      return bit < bits ? bit : -1;
    }
    bit += 32 - bit % 32;
  }
  return -1;
}
