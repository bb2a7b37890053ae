// SPDX-License-Identifier: Apache-2.0
#include "host/acfg.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "host/memory.h"
#include "platform/acfg.h"
#include "platform/memory.h"
#include "platform/sysmgr.h"
#include "schedcli.h"

namespace {

struct Element {
  uint32_t number, priority;
  std::string text;
};

struct Collected {
  std::vector<Element> elements;
  std::string groups;
  size_t expected = 0;  // of one element; what is reserved and not used costs no memory
};

struct Request {
  host::ConfigType type;
  bool of_running_store = false;  // in the place of the startup store
};

// The library asks for the names of the startup stores alone.
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

// The calls that the library makes carry no place for it; there is one text at a time.
const host::TextAmendment *amendment_in_use = nullptr;

class AmendmentInUse {
 public:
  explicit AmendmentInUse(const host::TextAmendment &amendment) { amendment_in_use = &amendment; }
  ~AmendmentInUse() { amendment_in_use = nullptr; }
  AmendmentInUse(const AmendmentInUse &) = delete;
  AmendmentInUse &operator=(const AmendmentInUse &) = delete;
};

void append(std::string *text, const char *piece) {
  if (amendment_in_use == nullptr || !amendment_in_use->piece) {
    *text += piece;
    return;
  }
  std::string amended = piece;
  amendment_in_use->piece(&amended);
  *text += amended;
}

Collected *collected(acfg_hdl *handle) {
  return static_cast<Collected *>(handle->platform);
}

Element *find_element(Collected &all, uint32_t number) {
  for (Element &element : all.elements) {
    if (element.number == number) return &element;
  }
  return nullptr;
}

// The others go around the longest text, which holds the jobs: it is as large as all of them and moves once.
std::string arranged(Collected &all) {
  auto &elements = all.elements;
  std::stable_sort(elements.begin(), elements.end(),
                   [](const Element &a, const Element &b) { return a.priority < b.priority; });
  const auto longest = std::max_element(elements.begin(), elements.end(), [](const Element &a, const Element &b) {
    return a.text.size() < b.text.size();
  });
  if (longest == elements.end()) return std::move(all.groups);
  std::string before;
  for (auto element = elements.begin(); element != longest; ++element)
    before += element->text;
  std::string text = std::move(longest->text);
  text.insert(0, before);
  for (auto element = longest + 1; element != elements.end(); ++element)
    text += element->text;
  return text += all.groups;
}

// Generating the startup text restores the startup store into the process's live globals. This puts them aside, shows
// the restore the defaults (a record that the store lacks must not appear with the live value), and brings them back.
class LiveGlobals {
 public:
  LiveGlobals()
      : log_file_(sch_log_file),
        transport_(email_transport_conf),
        enabled_(scheduler_enabled),
        emails_(sch_schedule_email_list) {
    sch_log_file = SCH_LOG_FILE_INITIALIZER;
    email_transport_conf = SCH_EMAIL_TRANSPORT_INITIALIZER;
    scheduler_enabled = 0;
    sch_schedule_email_list = nullptr;
  }
  ~LiveGlobals() {
    g_list_free_full(sch_schedule_email_list, mtrack_free);
    sch_log_file = log_file_;
    email_transport_conf = transport_;
    scheduler_enabled = enabled_;
    sch_schedule_email_list = emails_;
  }
  LiveGlobals(const LiveGlobals &) = delete;
  LiveGlobals &operator=(const LiveGlobals &) = delete;

 private:
  sch_log_file_rec log_file_;
  sch_email_transport transport_;
  int32_t enabled_;
  GList *emails_;
};

}  // namespace

extern "C" {

int acfg_hdl_init(acfg_hdl *handle) {
  handle->platform = new Collected{{}, {}, host::tracked_bytes()};
  return 0;
}

int acfg_elem_add(acfg_hdl *handle, uint32_t, uint32_t element, uint32_t priority) {
  if (find_element(*collected(handle), element) != nullptr) return -1;
  collected(handle)->elements.push_back({element, priority, {}});
  return 0;
}

int acfg_elem_str_add_indent(acfg_hdl *handle, uint32_t element, const char *text, uint32_t indent) {
  Element *found = find_element(*collected(handle), element);
  if (found == nullptr) return -1;
  if (found->text.empty()) found->text.reserve(collected(handle)->expected);
  if (indent != 0) found->text += ' ';
  append(&found->text, text);
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
  std::string &text = *static_cast<std::string *>(message);
  text = arranged(*all);
  if (amendment_in_use != nullptr && amendment_in_use->end) text += amendment_in_use->end();
  return 0;
}

}  // extern "C"

namespace host {

std::string configuration_text(ConfigType type, const TextAmendment &amendment) {
  std::string text;
  Request request{type};
  const AmendmentInUse in_use(amendment);
  if (type == ConfigType::running) {
    sch_acfgcb_cfg_gen(&text, &request);
    return text;
  }
  const LiveGlobals kept;
  sch_acfgcb_cfg_gen(&text, &request);
  return text;
}

std::string written_text(const std::function<void(acfg_hdl *)> &write, const TextAmendment &amendment) {
  std::string text;
  acfg_hdl handle = {};
  const AmendmentInUse in_use(amendment);
  acfg_hdl_init(&handle);
  write(&handle);
  acfg_respond(&handle, &text, nullptr);
  return text;
}

std::string stored_running_text(const TextAmendment &amendment) {
  std::string text;
  Request request{ConfigType::startup, true};
  const AmendmentInUse in_use(amendment);
  const LiveGlobals kept;
  sch_acfgcb_cfg_gen(&text, &request);
  return text;
}

}  // namespace host
