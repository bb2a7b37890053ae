/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Sets of bits.
 */
#ifndef SCHEDCLI_PLATFORM_BITSET_H
#define SCHEDCLI_PLATFORM_BITSET_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* The first bit set behind `after` and below `bits`, -1: none; the walk starts with after = -1. Bit n is bit n % 32 of
 * word n / 32; set holds bits / 32 words, rounded up. */
int bitset_next_bit(const uint32_t *set, int bits, int after);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
