// SPDX-License-Identifier: Apache-2.0
#include "platform/acfg.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "schedcli.h"
#include "tests/platform/state.h"

using namespace platform_test;

int acfg_hdl_init(acfg_hdl *handle) {
  note("acfg_hdl_init");
  fake.acfg_handles.insert(handle);
  handle->platform = &fake;
  return static_cast<int>(scripted_error("acfg_hdl_init"));
}

int acfg_elem_add(acfg_hdl *handle, uint32_t owner, uint32_t element, uint32_t priority) {
  fake.acfg_handles.insert(handle);
  note("acfg_elem_add %u %u %u", owner, element, priority);
  return static_cast<int>(scripted_error("acfg_elem_add"));
}

int acfg_elem_str_add_indent(acfg_hdl *handle, uint32_t element, const char *text, uint32_t indent) {
  note("acfg_elem_str_add_indent %u %u %s", element, indent, text);
  fake.acfg_handles.insert(handle);
  const bool buffered = text == cfg_line;
  const char *end = text + std::strlen(text);
  fake.acfg_lines.push_back({element, text, indent, buffered,
                             buffered && std::all_of(end, std::cend(cfg_line), [](char byte) { return byte == 0; })});
  return static_cast<int>(scripted_error("acfg_elem_str_add_indent"));
}

int acfg_elem_dependency_add(acfg_hdl *handle, uint32_t element, uint32_t owner, uint32_t on_element) {
  fake.acfg_handles.insert(handle);
  note("acfg_elem_dependency_add %u %u %u", element, owner, on_element);
  return static_cast<int>(scripted_error("acfg_elem_dependency_add"));
}

int acfg_elem_group_config_str_add(acfg_hdl *handle, uint32_t group, uint32_t zero, uint32_t three, const char *text) {
  fake.acfg_handles.insert(handle);
  note("acfg_elem_group_config_str_add %u %u %u %s", group, zero, three, text);
  return static_cast<int>(scripted_error("acfg_elem_group_config_str_add"));
}

int acfg_cfg_type_get(void *request) {
  fake.acfg_requests.push_back(request);
  note("acfg_cfg_type_get");
  return fake.cfg_type;
}

const char *acfg_startup_cfg_uri_prefix_get(void *request) {
  fake.acfg_requests.push_back(request);
  note("acfg_startup_cfg_uri_prefix_get");
  return fake.startup_prefix;
}

const char *acfg_startup_debug_cfg_uri_prefix_get(void *request) {
  fake.acfg_requests.push_back(request);
  note("acfg_startup_debug_cfg_uri_prefix_get");
  return fake.startup_debug_prefix;
}

const char *acfg_uri_complete(const char *prefix, const char *empty, const char *store) {
  note("acfg_uri_complete %s %s %s", or_null(prefix), empty, store);
  if (prefix == nullptr) return nullptr;
  if (fake.acfg_uncompletable.contains(store)) return nullptr;
  return interned(std::string(prefix) + empty + store);
}

int acfg_respond(acfg_hdl *handle, void *message, void *request) {
  fake.acfg_handles.insert(handle);
  fake.acfg_responded.insert(fake.acfg_responded.end(), {message, request});
  note("acfg_respond");
  return fake.respond_result;
}
