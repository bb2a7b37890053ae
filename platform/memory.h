/* SPDX-License-Identifier: Apache-2.0 */
#ifndef SCHEDCLI_PLATFORM_MEMORY_H
#define SCHEDCLI_PLATFORM_MEMORY_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

void *mtrack_alloc(uint32_t owner, uint32_t mem_type, uint32_t size);
void mtrack_free(void *memory);

#ifdef __cplusplus
}
#endif
#endif
