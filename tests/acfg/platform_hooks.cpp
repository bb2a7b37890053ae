// SPDX-License-Identifier: Apache-2.0
#include "tests/acfg/platform_hooks.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "schedcli.h"

namespace acfg_test {

PlatformHooks hooks;

}  // namespace acfg_test

using acfg_test::hooks;

extern "C" {

int __real_bitset_next_bit(const uint32_t *set, int bits, int after);
const pss_buf *__real_sch_get_syslog_pss_key(void);
pss_handle __real_pss_open(const char *uri, uint32_t *error);
const pss_buf *__real_pss2_fetch(pss_handle store, const pss_buf *key, uint32_t *error);
const char *__real_acfg_uri_complete(const char *prefix, const char *empty, const char *store);
int __real_acfg_hdl_init(acfg_hdl *handle);
int __real_acfg_elem_add(acfg_hdl *handle, uint32_t owner, uint32_t element, uint32_t priority);
int __real_acfg_elem_str_add_indent(acfg_hdl *handle, uint32_t element, const char *text, uint32_t indent);
int __real_acfg_elem_dependency_add(acfg_hdl *handle, uint32_t element, uint32_t owner, uint32_t on_element);
int __real_acfg_elem_group_config_str_add(acfg_hdl *handle, uint32_t group, uint32_t zero, uint32_t three,
                                          const char *text);
int __real_acfg_cfg_type_get(void *request);
const char *__real_acfg_startup_cfg_uri_prefix_get(void *request);
const char *__real_acfg_startup_debug_cfg_uri_prefix_get(void *request);
int __real_acfg_respond(acfg_hdl *handle, void *message, void *request);

int __wrap_bitset_next_bit(const uint32_t *set, int bits, int after) {
  hooks.bits_after.push_back(after);
  if (hooks.bits.empty()) return __real_bitset_next_bit(set, bits, after);
  for (const int bit : hooks.bits) {
    if (bit > after) return bit;
  }
  return -1;
}

const pss_buf *__wrap_sch_get_syslog_pss_key(void) {
  static const pss_buf without_data = {nullptr, 4};
  if (hooks.no_key) return nullptr;
  return hooks.key_without_data ? &without_data : __real_sch_get_syslog_pss_key();
}

// Both write the error word on failure alone, as a platform may.
pss_handle __wrap_pss_open(const char *uri, uint32_t *error) {
  uint32_t own_error = 0;
  const pss_handle handle = __real_pss_open(uri, &own_error);
  if (own_error != 0) *error = own_error;
  if (hooks.error_on_open_of == uri) *error = 0x40480005;
  return handle;
}

const pss_buf *__wrap_pss2_fetch(pss_handle store, const pss_buf *key, uint32_t *error) {
  uint32_t own_error = 0;
  const pss_buf *value = __real_pss2_fetch(store, key, &own_error);
  if (hooks.null_without_error) return nullptr;
  if (own_error != 0) *error = own_error;
  if (hooks.value_with_error) *error = 0x40480005;
  return value;
}

const char *__wrap_acfg_uri_complete(const char *prefix, const char *empty, const char *store) {
  if (hooks.no_startup_uri && std::string(store) == "scheduler_startup") return nullptr;
  return __real_acfg_uri_complete(prefix, empty, store);
}

int __wrap_acfg_hdl_init(acfg_hdl *handle) {
  hooks.handles.insert(handle);
  return __real_acfg_hdl_init(handle);
}

int __wrap_acfg_elem_add(acfg_hdl *handle, uint32_t owner, uint32_t element, uint32_t priority) {
  hooks.handles.insert(handle);
  return __real_acfg_elem_add(handle, owner, element, priority);
}

int __wrap_acfg_elem_str_add_indent(acfg_hdl *handle, uint32_t element, const char *text, uint32_t indent) {
  hooks.handles.insert(handle);
  if (text != cfg_line) {
    hooks.foreign_lines.push_back(text);
  } else if (std::any_of(cfg_line + std::strlen(cfg_line), std::end(cfg_line), [](char byte) { return byte != 0; })) {
    ++hooks.dirty_lines;
  }
  return __real_acfg_elem_str_add_indent(handle, element, text, indent);
}

int __wrap_acfg_elem_dependency_add(acfg_hdl *handle, uint32_t element, uint32_t owner, uint32_t on_element) {
  hooks.handles.insert(handle);
  return __real_acfg_elem_dependency_add(handle, element, owner, on_element);
}

int __wrap_acfg_elem_group_config_str_add(acfg_hdl *handle, uint32_t group, uint32_t zero, uint32_t three,
                                          const char *text) {
  hooks.handles.insert(handle);
  return __real_acfg_elem_group_config_str_add(handle, group, zero, three, text);
}

int __wrap_acfg_cfg_type_get(void *request) {
  hooks.requests.push_back(request);
  return __real_acfg_cfg_type_get(request);
}

const char *__wrap_acfg_startup_cfg_uri_prefix_get(void *request) {
  hooks.requests.push_back(request);
  return __real_acfg_startup_cfg_uri_prefix_get(request);
}

const char *__wrap_acfg_startup_debug_cfg_uri_prefix_get(void *request) {
  hooks.requests.push_back(request);
  return __real_acfg_startup_debug_cfg_uri_prefix_get(request);
}

int __wrap_acfg_respond(acfg_hdl *handle, void *message, void *request) {
  hooks.handles.insert(handle);
  hooks.responded.insert(hooks.responded.end(), {message, request});
  return __real_acfg_respond(handle, message, request);
}
}
