/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The persistent store: records of a key and a value, both bytes, in named stores.
 *
 * A result of 0 is success, anything else an error code. A key is there once. What a call stored is there for the
 * next one, also of another handle; when it survives a crash is the platform's promise to its users: the library
 * never asks for less than one record at a time. Keys and values given are borrowed for the call.
 */
#ifndef SCHEDCLI_PLATFORM_PSS_H
#define SCHEDCLI_PLATFORM_PSS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

typedef uint32_t pss_handle; /* 0: not open */

/* A key or a value. What the store returns is the store's and is copied at once. */
typedef struct pss_buf {
  void *data;
  uint32_t length;
} pss_buf;

/* A place in a store, zero-filled by its user before the first move, never ended. platform is the platform's; error is
 * the last call's, 0 on success. What a call on the cursor returned stays valid until the next one. */
typedef struct pss_cursor {
  uint32_t error;
  uint32_t platform[7];
} pss_cursor;

/* The two errors that the library tells from others: the store to create exists; no record of this key. */
#define PSS_ERR_EXISTS 0x80480011u
#define PSS_ERR_NO_KEY 0x40480003u

/* Where to move a cursor. */
#define PSS_FIRST 1u
#define PSS_NEXT 3u

/* Makes an empty store and opens it. 0 and *error on failure, PSS_ERR_EXISTS when there is one, which stays as it
 * is. *error is 0 on success. */
pss_handle pss_create(const char *uri, uint32_t *error);

/* Opens a store; more than one handle may be open. 0 and *error on failure; *error is 0 on success. */
pss_handle pss_open(const char *uri, uint32_t *error);

/* Ends a handle, also when it reports an error. */
uint32_t pss_close(pss_handle store);

/* Removes a store with its records. */
uint32_t pss_destroy(const char *uri);

/* Writes count records, replacing those of the same keys; the library writes one at a time. A key or value beyond
 * the store's limits is an error and changes nothing. */
uint32_t pss_store(pss_handle store, uint32_t count, const pss_buf *keys, const pss_buf *values);

/* Removes the record of one key; PSS_ERR_NO_KEY, or success, when there is none. */
uint32_t pss_delete(pss_handle store, const pss_buf *keys);

/* The value of the record that the cursor is at. Null, or an error in the cursor, when it cannot be read: the walk
 * may go on. */
const pss_buf *pss_getvalue(pss_handle store, pss_cursor *cursor);

/* Moves to the first record or the next one, in ascending order of the keys' bytes, and returns its key; null at the
 * end, or with an error in the cursor. Any other order costs sch_restore_config_from_pss() further walks. */
const pss_buf *pss_move2location(pss_handle store, uint32_t where, pss_cursor *cursor);

/* The value of a key, until the next call on the store; null and *error (PSS_ERR_NO_KEY when there is none), which
 * is 0 on success. */
const pss_buf *pss2_fetch(pss_handle store, const pss_buf *key, uint32_t *error);

/* Bounds the keys of a store, in bytes. */
uint32_t pss_max_key(pss_handle store, uint16_t size);

/* Bounds the values of a store, in bytes. */
uint32_t pss_max_value(pss_handle store, uint16_t size);

/* Notes the version of a store's format. */
uint32_t pss_version_set(pss_handle store, uint32_t major, uint32_t minor);

/* Copies all records into another store, made or replaced as a whole: a failure leaves it as it was. flags is 0. */
uint32_t pss_snapshot(pss_handle store, uint32_t flags, const char *destination_uri);

/* The bytes that shrinking could give back. */
uint32_t pss_free_space(pss_handle store, uint32_t *bytes);

/* Compacts a store. The new handle, *status 0; the old one is ended. On failure *status is the error, and the
 * library does not use the old handle again. */
pss_handle pss_shrink(pss_handle store, uint32_t *status);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
