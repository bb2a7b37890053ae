// SPDX-License-Identifier: Apache-2.0
#include "host/acfg.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "host/memory.h"
#include "platform/acfg.h"
#include "platform/memory.h"
#include "platform/sysmgr.h"
#include "schedcli.h"

namespace {

struct Element {
  uint32_t number, priority;
  size_t end;  // of its lines in the text
};

struct Collected {
  std::vector<Element> elements;  // by ascending priority, as their lines in the text
  std::string text, groups;
};

struct Request {
  host::ConfigType type;
  bool of_running_store = false;  // reads the running store where the library asks for the startup store
};

// The library names the startup stores only, so the running ones are put in their place here.
struct SameStore {
  const char *startup, *running;
};
constexpr SameStore same_stores[] = {{"scheduler_startup", "scheduler_runtime"},
                                     {"scheduler_debug_startup", "scheduler_debug_runtime"}};

const char *running_name(const char *name) {
  for (const SameStore &store : same_stores)
    if (std::strcmp(store.startup, name) == 0) return store.running;
  return name;
}

Collected *collected(acfg_hdl *handle) {
  return static_cast<Collected *>(handle->platform);
}

using Place = std::vector<Element>::iterator;

Place find_element(Collected &all, uint32_t number) {
  return std::ranges::find(all.elements, number, &Element::number);
}

// The library adds what comes first in the text before the jobs, so nearly every line goes to the text's end.
void add_line(Collected &all, Place element, std::string_view line) {
  all.text.insert(element->end, line);
  for (; element != all.elements.end(); ++element)
    element->end += line.size();
}

}  // namespace

extern "C" {

int acfg_hdl_init(acfg_hdl *handle) {
  handle->platform = new Collected{};
  return 0;
}

int acfg_elem_add(acfg_hdl *handle, uint32_t, uint32_t element, uint32_t priority) {
  Collected &all = *collected(handle);
  if (find_element(all, element) != all.elements.end()) return -1;
  const Place place = std::ranges::upper_bound(all.elements, priority, {}, &Element::priority);
  const size_t end = place == all.elements.begin() ? 0 : std::prev(place)->end;
  all.elements.insert(place, {element, priority, end});
  return 0;
}

int acfg_elem_str_add_indent(acfg_hdl *handle, uint32_t element, const char *text, uint32_t indent) {
  Collected &all = *collected(handle);
  const Place found = find_element(all, element);
  if (found == all.elements.end()) return -1;
  if (all.text.empty()) all.text.reserve(host::tracked_bytes());  // what is not used costs no memory
  if (indent != 0) add_line(all, found, " ");
  add_line(all, found, text);
  return 0;
}

// Priorities alone order the elements here.
int acfg_elem_dependency_add(acfg_hdl *, uint32_t, uint32_t, uint32_t) {
  return 0;
}

int acfg_elem_group_config_str_add(acfg_hdl *handle, uint32_t, uint32_t, uint32_t, const char *text) {
  collected(handle)->groups += text;
  return 0;
}

int acfg_cfg_type_get(void *request) {
  return static_cast<int>(static_cast<const Request *>(request)->type);
}

const char *acfg_startup_cfg_uri_prefix_get(void *request) {
  const bool of_running = static_cast<const Request *>(request)->of_running_store;
  return of_running ? sysmgr_running_cfg_uri_get() : sysmgr_startup_cfg_uri_get();
}

const char *acfg_startup_debug_cfg_uri_prefix_get(void *request) {
  const bool of_running = static_cast<const Request *>(request)->of_running_store;
  return of_running ? sysmgr_running_cfg_uri_get() : sysmgr_debug_cfg_uri_get();
}

const char *acfg_uri_complete(const char *prefix, const char *empty, const char *store) {
  if (prefix == nullptr) return nullptr;
  const bool of_running = std::strcmp(prefix, sysmgr_running_cfg_uri_get()) == 0;
  return sysmgr_uri_complete(prefix, empty, of_running ? running_name(store) : store);
}

int acfg_respond(acfg_hdl *handle, void *message, void *) {
  const std::unique_ptr<Collected> all(collected(handle));
  handle->platform = nullptr;
  all->text += all->groups;
  *static_cast<std::string *>(message) = std::move(all->text);
  return 0;
}

}  // extern "C"

namespace host {

LiveGlobals::LiveGlobals()
    : log_file_(sch_log_file),
      transport_(email_transport_conf),
      enabled_(scheduler_enabled),
      emails_(sch_schedule_email_list) {
  email_transport_conf = SCH_EMAIL_TRANSPORT_INITIALIZER;
  sch_schedule_email_list = nullptr;
}

LiveGlobals::~LiveGlobals() {
  g_list_free_full(sch_schedule_email_list, mtrack_free);
  sch_log_file = log_file_;
  email_transport_conf = transport_;
  scheduler_enabled = enabled_;
  sch_schedule_email_list = emails_;
}

std::string configuration_text(ConfigType type) {
  std::string text;
  Request request{type};
  if (type == ConfigType::running) {
    sch_acfgcb_cfg_gen(&text, &request);
    return text;
  }
  const LiveGlobals kept;
  sch_acfgcb_cfg_gen(&text, &request);
  return text;
}

std::string stored_running_text() {
  std::string text;
  Request request{ConfigType::startup, true};
  const LiveGlobals kept;
  sch_acfgcb_cfg_gen(&text, &request);
  return text;
}

}  // namespace host
