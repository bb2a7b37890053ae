/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The persistent store and the system manager. Stores below "running/" last until the power goes; those below
 * "startup/" and "debug/" are flash.
 */
#include "platform/pss.h"

#include <string.h>

#include "platform/sysmgr.h"
#include "switch.h"

typedef struct record {
  pss_buf key;
  pss_buf value;
} record;

typedef struct store {
  char *uri;                   /* null: destroyed */
  GPtrArray *records;          /* of record, in ascending order of the keys' bytes */
  uint16_t max_key, max_value; /* 0: no limit */
} store;

/* A handle is a place here, from 1. */
static GPtrArray *stores;
static int booted = 1;

static pss_buf copy_of(const pss_buf *given) {
  const pss_buf copy = {g_memdup2(given->data, given->length), given->length};
  return copy;
}

static record *new_record(const pss_buf *key, const pss_buf *value) {
  record *made = g_new(record, 1);
  made->key = copy_of(key);
  made->value = copy_of(value);
  return made;
}

static void free_record(gpointer data) {
  record *given = (record *)data;
  g_free(given->key.data);
  g_free(given->value.data);
  g_free(given);
}

static store *store_of(pss_handle handle) {
  return (store *)g_ptr_array_index(stores, handle - 1);
}

static record *record_at(const store *in, uint32_t place) {
  return place < in->records->len ? (record *)g_ptr_array_index(in->records, place) : NULL;
}

static pss_handle find_store(const char *uri) {
  pss_handle handle;
  for (handle = 1; stores != NULL && handle <= stores->len; ++handle)
    if (g_strcmp0(store_of(handle)->uri, uri) == 0) return handle;
  return 0;
}

static pss_handle add_store(const char *uri) {
  store *added = g_new0(store, 1);
  added->uri = g_strdup(uri);
  added->records = g_ptr_array_new_with_free_func(free_record);
  if (stores == NULL) stores = g_ptr_array_new();
  g_ptr_array_add(stores, added);
  return stores->len;
}

static int compare(const pss_buf *left, const pss_buf *right) {
  const int order = memcmp(left->data, right->data, MIN(left->length, right->length));
  return order != 0 ? order : (left->length > right->length) - (left->length < right->length);
}

/* The place of the key, or where it would be. */
static uint32_t place_of(const store *in, const pss_buf *key, int *found) {
  uint32_t place = 0;
  int order = -1;
  while (place < in->records->len && (order = compare(&record_at(in, place)->key, key)) < 0)
    ++place;
  *found = place < in->records->len && order == 0;
  return place;
}

static void put(store *into, const pss_buf *key, const pss_buf *value) {
  int found;
  const uint32_t place = place_of(into, key, &found);
  if (found) g_ptr_array_remove_index(into->records, place);
  g_ptr_array_insert(into->records, (gint)place, new_record(key, value));
}

pss_handle pss_create(const char *uri, uint32_t *error) {
  *error = find_store(uri) != 0 ? PSS_ERR_EXISTS : 0;
  return *error == 0 ? add_store(uri) : 0;
}

pss_handle pss_open(const char *uri, uint32_t *error) {
  const pss_handle handle = find_store(uri);
  *error = handle != 0 ? 0 : SWITCH_NO_SUCH_STORE;
  return handle;
}

uint32_t pss_close(pss_handle handle) {
  return 0;
}

uint32_t pss_destroy(const char *uri) {
  const pss_handle handle = find_store(uri);
  if (handle == 0) return SWITCH_NO_SUCH_STORE;
  g_clear_pointer(&store_of(handle)->uri, g_free);
  g_ptr_array_set_size(store_of(handle)->records, 0);
  return 0;
}

uint32_t pss_store(pss_handle handle, uint32_t count, const pss_buf *keys, const pss_buf *values) {
  store *into = store_of(handle);
  uint32_t i;
  for (i = 0; i < count; ++i) {
    if (into->max_key != 0 && keys[i].length > into->max_key) return SWITCH_TOO_LARGE;
    if (into->max_value != 0 && values[i].length > into->max_value) return SWITCH_TOO_LARGE;
    put(into, &keys[i], &values[i]);
  }
  return 0;
}

uint32_t pss_delete(pss_handle handle, const pss_buf *keys) {
  int found;
  const uint32_t place = place_of(store_of(handle), keys, &found);
  if (!found) return PSS_ERR_NO_KEY;
  g_ptr_array_remove_index(store_of(handle)->records, place);
  return 0;
}

/* The cursor's first word is its place. What is lent lives until its record is changed, which no walk does. */
const pss_buf *pss_move2location(pss_handle handle, uint32_t where, pss_cursor *cursor) {
  const record *here;
  cursor->error = 0;
  cursor->platform[0] = where == PSS_FIRST ? 0 : cursor->platform[0] + 1;
  here = record_at(store_of(handle), cursor->platform[0]);
  return here != NULL ? &here->key : NULL;
}

const pss_buf *pss_getvalue(pss_handle handle, pss_cursor *cursor) {
  const record *here = record_at(store_of(handle), cursor->platform[0]);
  cursor->error = here != NULL ? 0 : PSS_ERR_NO_KEY;
  return here != NULL ? &here->value : NULL;
}

const pss_buf *pss2_fetch(pss_handle handle, const pss_buf *key, uint32_t *error) {
  int found;
  const uint32_t place = place_of(store_of(handle), key, &found);
  *error = found ? 0 : PSS_ERR_NO_KEY;
  return found ? &record_at(store_of(handle), place)->value : NULL;
}

uint32_t pss_max_key(pss_handle handle, uint16_t size) {
  store_of(handle)->max_key = size;
  return 0;
}

uint32_t pss_max_value(pss_handle handle, uint16_t size) {
  store_of(handle)->max_value = size;
  return 0;
}

uint32_t pss_version_set(pss_handle handle, uint32_t major, uint32_t minor) {
  return 0;
}

uint32_t pss_snapshot(pss_handle handle, uint32_t flags, const char *destination_uri) {
  const store *source = store_of(handle);
  store *copy;
  uint32_t i;
  pss_destroy(destination_uri);
  copy = store_of(add_store(destination_uri));
  for (i = 0; i < source->records->len; ++i)
    put(copy, &record_at(source, i)->key, &record_at(source, i)->value);
  return 0;
}

uint32_t pss_free_space(pss_handle handle, uint32_t *bytes) {
  *bytes = 0;
  return 0;
}

pss_handle pss_shrink(pss_handle handle, uint32_t *status) {
  *status = 0;
  return handle;
}

const char *sysmgr_running_cfg_uri_get(void) {
  return "running/";
}

const char *sysmgr_startup_cfg_uri_get(void) {
  return "startup/";
}

const char *sysmgr_debug_cfg_uri_get(void) {
  return "debug/";
}

const char *sysmgr_uri_complete(const char *base, const char *empty, const char *name) {
  static char uri[64];
  g_snprintf(uri, sizeof uri, "%s%s", base, name);
  return uri;
}

int sysmgr_is_stateless_restart(void) {
  return booted;
}

/* A boot's restore merges into what the running stores hold, so they are removed here and not left to the library. */
void switch_power_on(void) {
  pss_handle handle;
  for (handle = 1; stores != NULL && handle <= stores->len; ++handle) {
    const char *uri = store_of(handle)->uri;
    if (uri != NULL && g_str_has_prefix(uri, "running/")) pss_destroy(uri);
  }
  booted = 1;
}

void switch_is_up(void) {
  booted = 0;
}
