/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The memory tracker. The library calls it for every record of the database and for nothing else; a call must not
 * come back into the library.
 */
#ifndef SCHEDCLI_PLATFORM_MEMORY_H
#define SCHEDCLI_PLATFORM_MEMORY_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* size bytes, aligned for any record and not cleared, accounted to owner (224 for the library) and mem_type; null
 * when there are none. A size of 0 may give null, which the library then takes for exhausted memory. */
void *mtrack_alloc(uint32_t owner, uint32_t mem_type, uint32_t size);

/* Takes what mtrack_alloc() gave; null is harmless. */
void mtrack_free(void *memory);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
