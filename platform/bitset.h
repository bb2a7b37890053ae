/* SPDX-License-Identifier: Apache-2.0 */
#ifndef SCHEDCLI_PLATFORM_BITSET_H
#define SCHEDCLI_PLATFORM_BITSET_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The first bit set behind `after`, -1: none; start with after = -1; bit n is bit n % 32 of word n / 32. */
int bitset_next_bit(const uint32_t *set, int bits, int after);

#ifdef __cplusplus
}
#endif
#endif
