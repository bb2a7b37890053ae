/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The configuration manager: collects the library's text by element and writes the elements by ascending priority. A
 * request here is the type that is asked for, a message the GString to write to.
 */
#include <string.h>

#include "platform/acfg.h"
#include "platform/sysmgr.h"
#include "switch.h"

#define MAX_ELEMENTS 3

typedef struct collected {
  struct {
    uint32_t number, priority;
    GString *text;
  } elements[MAX_ELEMENTS];
  int count;
} collected;

int acfg_hdl_init(acfg_hdl *handle) {
  handle->platform = g_new0(collected, 1);
  return 0;
}

/* Keeps the elements in the order in which they are written. */
int acfg_elem_add(acfg_hdl *handle, uint32_t owner, uint32_t element, uint32_t priority) {
  collected *all = (collected *)handle->platform;
  int place = all->count;
  if (all->count == MAX_ELEMENTS) return -1;
  for (; place > 0 && all->elements[place - 1].priority > priority; --place)
    all->elements[place] = all->elements[place - 1];
  all->elements[place].number = element;
  all->elements[place].priority = priority;
  all->elements[place].text = g_string_new(NULL);
  ++all->count;
  return 0;
}

/* The text brings its newlines; one blank under the block is what the manager adds. */
int acfg_elem_str_add_indent(acfg_hdl *handle, uint32_t element, const char *text, uint32_t indent) {
  collected *all = (collected *)handle->platform;
  int i;
  for (i = 0; i < all->count; ++i) {
    if (all->elements[i].number != element) continue;
    if (indent != 0) g_string_append_c(all->elements[i].text, ' ');
    g_string_append(all->elements[i].text, text);
  }
  return 0;
}

int acfg_elem_dependency_add(acfg_hdl *handle, uint32_t element, uint32_t owner, uint32_t on_element) {
  return 0;
}

int acfg_elem_group_config_str_add(acfg_hdl *handle, uint32_t group, uint32_t zero, uint32_t three, const char *text) {
  return 0;
}

int acfg_cfg_type_get(void *request) {
  return *(const int *)request;
}

const char *acfg_startup_cfg_uri_prefix_get(void *request) {
  return sysmgr_startup_cfg_uri_get();
}

const char *acfg_startup_debug_cfg_uri_prefix_get(void *request) {
  return sysmgr_debug_cfg_uri_get();
}

const char *acfg_uri_complete(const char *prefix, const char *empty, const char *store) {
  return sysmgr_uri_complete(prefix, empty, store);
}

int acfg_respond(acfg_hdl *handle, void *message, void *request) {
  collected *all = (collected *)handle->platform;
  int i;
  for (i = 0; i < all->count; ++i) {
    g_string_append((GString *)message, all->elements[i].text->str);
    g_string_free(all->elements[i].text, TRUE);
  }
  g_free(all);
  handle->platform = NULL;
  return 0;
}
