/* SPDX-License-Identifier: Apache-2.0 */
#ifndef SCHEDCLI_PLATFORM_PSS_H
#define SCHEDCLI_PLATFORM_PSS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t pss_handle; /* 0: not open */

typedef struct pss_buf {
  void *data;
  uint32_t length;
} pss_buf;

typedef struct pss_cursor { /* the caller zero-fills it */
  uint32_t error;
  uint32_t platform[7];
} pss_cursor;

#define PSS_ERR_EXISTS 0x80480011u
#define PSS_ERR_NO_KEY 0x40480003u

#define PSS_FIRST 1u
#define PSS_NEXT 3u

pss_handle pss_create(const char *uri, uint32_t *error);
pss_handle pss_open(const char *uri, uint32_t *error);
uint32_t pss_close(pss_handle store);
uint32_t pss_destroy(const char *uri);
uint32_t pss_store(pss_handle store, uint32_t count, const pss_buf *keys, const pss_buf *values);
uint32_t pss_delete(pss_handle store, const pss_buf *keys);
/* Both results are the store's, valid until the next call on the cursor. */
const pss_buf *pss_getvalue(pss_handle store, pss_cursor *cursor);
const pss_buf *pss_move2location(pss_handle store, uint32_t where, pss_cursor *cursor);
const pss_buf *pss2_fetch(pss_handle store, const pss_buf *key, uint32_t *error);
uint32_t pss_max_key(pss_handle store, uint16_t size);
uint32_t pss_max_value(pss_handle store, uint16_t size);
uint32_t pss_version_set(pss_handle store, uint32_t major, uint32_t minor);
uint32_t pss_snapshot(pss_handle store, uint32_t flags, const char *destination_uri);
uint32_t pss_free_space(pss_handle store, uint32_t *bytes);
pss_handle pss_shrink(pss_handle store, uint32_t *status);

#ifdef __cplusplus
}
#endif
#endif
