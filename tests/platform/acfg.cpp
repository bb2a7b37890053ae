// SPDX-License-Identifier: Apache-2.0
#include "platform/acfg.h"

#include "tests/platform/state.h"

using namespace platform_test;

int acfg_hdl_init(acfg_hdl *handle) {
  note("acfg_hdl_init");
  handle->platform = &fake;
  return static_cast<int>(scripted_error("acfg_hdl_init"));
}

int acfg_elem_add(acfg_hdl *, uint32_t owner, uint32_t element, uint32_t priority) {
  note("acfg_elem_add %u %u %u", owner, element, priority);
  return static_cast<int>(scripted_error("acfg_elem_add"));
}

int acfg_elem_str_add_indent(acfg_hdl *, uint32_t element, const char *text, uint32_t indent) {
  note("acfg_elem_str_add_indent %u %u %s", element, indent, text);
  fake.acfg_lines.push_back({element, text, indent});
  return static_cast<int>(scripted_error("acfg_elem_str_add_indent"));
}

int acfg_elem_dependency_add(acfg_hdl *, uint32_t element, uint32_t owner, uint32_t on_element) {
  note("acfg_elem_dependency_add %u %u %u", element, owner, on_element);
  return static_cast<int>(scripted_error("acfg_elem_dependency_add"));
}

int acfg_elem_group_config_str_add(acfg_hdl *, uint32_t group, uint32_t zero, uint32_t three, const char *text) {
  note("acfg_elem_group_config_str_add %u %u %u %s", group, zero, three, text);
  return static_cast<int>(scripted_error("acfg_elem_group_config_str_add"));
}

int acfg_cfg_type_get(void *) {
  note("acfg_cfg_type_get");
  return fake.cfg_type;
}

const char *acfg_startup_cfg_uri_prefix_get(void *) {
  note("acfg_startup_cfg_uri_prefix_get");
  return fake.startup_prefix;
}

const char *acfg_startup_debug_cfg_uri_prefix_get(void *) {
  note("acfg_startup_debug_cfg_uri_prefix_get");
  return fake.startup_debug_prefix;
}

const char *acfg_uri_complete(const char *prefix, const char *empty, const char *store) {
  note("acfg_uri_complete %s %s %s", or_null(prefix), empty, store);
  if (prefix == nullptr) return nullptr;
  if (fake.acfg_uri_null && store == std::string("scheduler_debug_startup")) return nullptr;
  return interned(std::string(prefix) + empty + store);
}

int acfg_respond(acfg_hdl *, void *, void *) {
  note("acfg_respond");
  return fake.respond_result;
}
