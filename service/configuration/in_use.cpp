// SPDX-License-Identifier: Apache-2.0
#include "service/configuration/in_use.h"
#include "control/statuses.h"

#include <algorithm>
#include <cstring>
#include <map>

#include "host/acfg.h"
#include "host/memory.h"
#include "host/security/security.h"
#include "host/status.h"
#include "host/store/store.h"
#include "platform/errors.h"
#include "service/configuration/startup_level.h"
#include "service/configuration/time_line.h"
#include "service/request/logging_level.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

template <size_t size>
std::string text_in(const char (&field)[size]) {
  return {field, strnlen(field, size)};
}

// Caches user names, as a look-up may ask another machine.
class UserNames {
 public:
  OwnerName of(uint32_t tag) {
    if (tag == 0) return {};
    const auto [found, is_new] = names_.try_emplace(tag);
    if (is_new)
      if (const auto user = host::user_by_uid(tag - 1)) found->second = user->name;
    return {tag, found->second};
  }

 private:
  std::map<uint32_t, std::string> names_;
};

std::string unless_usual(const std::string &text, std::string_view usual) {
  return text == usual ? std::string() : text;
}

MailServer server_in(const sch_smtp_server_rec &smtp) {
  if (smtp.server[0] == 0) return {};
  return {text_in(smtp.server), unless_usual(text_in(smtp.vrf), SCH_SMTP_VRF_DEFAULT), smtp.port};
}

GlobalSettings settings_in_globals(int32_t level) {
  return {scheduler_enabled != 0,
          sch_log_file.size / SCH_LOG_SIZE_UNIT,
          unless_usual(text_in(sch_log_file.uri), SCH_LOG_URI_DEFAULT),
          text_in(email_transport_conf.from),
          text_in(email_transport_conf.reply_to),
          server_in(email_transport_conf.smtp),
          level};
}

using Addresses = std::map<std::string, std::vector<std::string>>;

Addresses addresses_in(const GList *list) {
  Addresses addresses;
  for (; list != nullptr; list = list->next) {
    const auto &entry = *static_cast<const sch_schedule_email_entry *>(list->data);
    for (const sch_email_slot &slot : entry.slots)
      if (slot.in_use != 0) addresses[text_in(entry.schedule_name)].push_back(text_in(slot.address));
  }
  return addresses;
}

ScheduleBlock block_of(const sch_config_db &config, const sch_schedule_entry &entry, Addresses &addresses) {
  const ScheduleState state = state_of(*entry.rec);
  ScheduleBlock block = {name_of(*entry.key),
                         time_line(entry.rec->time),
                         {},
                         {},
                         is_enabled(*entry.rec),
                         {state.owner_tag, text_in(state.owner)}};
  for_each_assigned(*entry.rec, [&](uint32_t id) {
    if (config.jobs[id].key != nullptr) block.jobs.push_back(name_of(*config.jobs[id].key));
  });
  block.addresses = std::move(addresses[block.name]);
  return block;
}

// Sorts by number: a store has them in the order of their names.
std::vector<const sch_schedule_entry *> in_order(const GList *list) {
  std::vector<const sch_schedule_entry *> entries;
  for (; list != nullptr; list = list->next)
    entries.push_back(static_cast<const sch_schedule_entry *>(list->data));
  std::ranges::stable_sort(entries, {}, [](const sch_schedule_entry *entry) { return schedule_number(*entry->rec); });
  return entries;
}

Configuration configuration_of(const sch_config_db &config, int32_t level) {
  Configuration configuration;
  UserNames names;
  configuration.settings = settings_in_globals(level);
  for (uint32_t id = 0; id < SCH_MAX_JOBS; id++) {
    const sch_job_entry &slot = config.jobs[id];
    if (slot.key == nullptr || slot.hdr == nullptr) continue;
    configuration.jobs.push_back({name_of(*slot.key), fragments_text(slot), names.of(owner_of(slot))});
  }
  Addresses addresses = addresses_in(sch_schedule_email_list);
  for (const sch_schedule_entry *entry : in_order(*config.schedules))
    configuration.schedules.push_back(block_of(config, *entry, addresses));
  return configuration;
}

class OpenStore {
 public:
  explicit OpenStore(const char *uri) : handle_(host::store_exists(uri) ? pss_open(uri, &error_) : 0) {}
  ~OpenStore() {
    if (handle_ != 0) pss_close(handle_);
  }
  OpenStore(const OpenStore &) = delete;
  OpenStore &operator=(const OpenStore &) = delete;
  pss_handle get() const { return error_ == 0 ? handle_ : 0; }
  uint32_t error() const { return error_; }

 private:
  uint32_t error_ = 0;
  pss_handle handle_;
};

struct RestoredStartup {
  ~RestoredStartup() { sch_free_config(&sch_startup_config); }
};

}  // namespace

std::string fragments_text(const sch_job_entry &slot) {
  std::string text;
  size_t left = slot.hdr->length;
  for (const GList *node = slot.fragments; node != nullptr && left != 0; node = node->next) {
    const size_t size = std::min({left, size_t{SCH_FRAGMENT_SIZE}, size_t{host::tracked_size(node->data)}});
    text.append(static_cast<const char *>(node->data), size);
    left -= std::min<size_t>(left, SCH_FRAGMENT_SIZE);
  }
  return text;
}

Configuration configuration_in_use() {
  return configuration_of(sch_running_config, logging_level(debug_pss_running));
}

host::Result<Configuration> startup_configuration() {
  const auto refused = [](uint32_t status) { return host::Error{status, syserr2str(status)}; };
  if (!host::store_exists(sch_pss_startup_uri)) return refused(control::err_no_startup);
  const OpenStore store(sch_pss_startup_uri), level(sch_debug_pss_startup_uri);
  if (store.get() == 0) return refused(store.error());
  if (level.error() != 0) return refused(level.error());
  const std::optional<int32_t> logging_level = startup_logging_level();
  if (!logging_level) return refused(host::err_io);
  const host::LiveGlobals kept;
  const RestoredStartup restored;
  sch_log_file = SCH_LOG_FILE_INITIALIZER;
  scheduler_enabled = 0;
  sch_restore_config_from_pss(&sch_startup_config, store.get());
  return configuration_of(sch_startup_config, *logging_level);
}

Configuration part_of(const Configuration &whole, std::optional<uint32_t> owner_tag) {
  if (!owner_tag) return whole;
  Configuration part;
  const auto is_own = [&](const auto &block) { return block.owner.tag == *owner_tag; };
  std::ranges::copy_if(whole.jobs, std::back_inserter(part.jobs), is_own);
  std::ranges::copy_if(whole.schedules, std::back_inserter(part.schedules), is_own);
  return part;
}

}  // namespace service
