/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The configuration manager's generation library: it collects lines by element and answers with the text.
 *
 * Texts are borrowed for the call: the library builds the next line in the same buffer. It ignores what the calls
 * return, except for the get functions, acfg_uri_complete() and acfg_respond(). Element, priority, group and dependency
 * numbers are the manager's.
 */
#ifndef SCHEDCLI_PLATFORM_ACFG_H
#define SCHEDCLI_PLATFORM_ACFG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* A text that is being collected. The member belongs to the platform, from acfg_hdl_init() until acfg_respond(). */
typedef struct acfg_hdl {
  void *platform;
} acfg_hdl;

/* Makes an empty handle. */
int acfg_hdl_init(acfg_hdl *handle);

/* Declares an element of an owner; elements are written by ascending priority. */
int acfg_elem_add(acfg_hdl *handle, uint32_t owner, uint32_t element, uint32_t priority);

/* Appends text, one line or several or a part of one, to an element. indent 1: as a line under its block, indented
 * by the manager; 0: as it is. */
int acfg_elem_str_add_indent(acfg_hdl *handle, uint32_t element, const char *text, uint32_t indent);

/* Declares that an element depends on another owner's. */
int acfg_elem_dependency_add(acfg_hdl *handle, uint32_t element, uint32_t owner, uint32_t on_element);

/* Appends a line to a group that several owners share; 115 is logging. */
int acfg_elem_group_config_str_add(acfg_hdl *handle, uint32_t group, uint32_t zero, uint32_t three, const char *text);

/* What the request asks for: 1 the running configuration, 2 the startup configuration, else nothing of ours. */
int acfg_cfg_type_get(void *request);

/* Where the request's startup stores are; for acfg_uri_complete() only. */
const char *acfg_startup_cfg_uri_prefix_get(void *request);
const char *acfg_startup_debug_cfg_uri_prefix_get(void *request);

/* The URI of the store of this name; the second argument is always "". Null when there is none. Valid until the next
 * call. */
const char *acfg_uri_complete(const char *prefix, const char *empty, const char *store);

/* Sends what the handle collected, also when that is nothing, and ends the handle. Its result is the library's
 * answer. */
int acfg_respond(acfg_hdl *handle, void *message, void *request);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
