/* SPDX-License-Identifier: Apache-2.0 */
#ifndef SCHEDCLI_PLATFORM_ACFG_H
#define SCHEDCLI_PLATFORM_ACFG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct acfg_hdl {
  void *platform;
} acfg_hdl;

int acfg_hdl_init(acfg_hdl *handle);
int acfg_elem_add(acfg_hdl *handle, uint32_t owner, uint32_t element, uint32_t priority);
int acfg_elem_str_add_indent(acfg_hdl *handle, uint32_t element, const char *text, uint32_t indent);
int acfg_elem_dependency_add(acfg_hdl *handle, uint32_t element, uint32_t owner, uint32_t on_element);
int acfg_elem_group_config_str_add(acfg_hdl *handle, uint32_t group, uint32_t zero, uint32_t three, const char *text);
int acfg_cfg_type_get(void *request);
const char *acfg_startup_cfg_uri_prefix_get(void *request);
const char *acfg_startup_debug_cfg_uri_prefix_get(void *request);
const char *acfg_uri_complete(const char *prefix, const char *empty, const char *store);
int acfg_respond(acfg_hdl *handle, void *message, void *request);

#ifdef __cplusplus
}
#endif
#endif
