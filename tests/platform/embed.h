/* SPDX-License-Identifier: Apache-2.0 */
/* The scriptable platform for a program in C. What is returned by pointer is valid until the next call. */
#ifndef SCHEDCLI_TESTS_PLATFORM_EMBED_H
#define SCHEDCLI_TESTS_PLATFORM_EMBED_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

void platform_reset(void);
int platform_live_blocks(void);
void platform_fail_next_allocation(void);

size_t platform_request_count(void);
const void *platform_last_request(uint32_t *length);
void platform_answer(uint32_t status, const void *reply, uint32_t length); /* a null reply: none */
void platform_stream(const void *message, uint32_t length);

size_t platform_store_records(const char *uri);
const char *platform_text_of_element(uint32_t element);
const char *platform_last_system_message(void);
size_t platform_trace_count(void);

#ifdef __cplusplus
}
#endif
#endif
