// SPDX-License-Identifier: Apache-2.0
#include "service/state/configuration_text.h"

#include <cstring>

#include "host/acfg.h"
#include "host/store/store.h"
#include "schedcli.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

constexpr char running_store[] = "running:scheduler_runtime";
constexpr char startup_store[] = "startup:scheduler_startup";

std::string disabling_line(const sch_config_key &key) {
  return "scheduler disable schedule " + name_of(key) + "\n";
}

std::string line_for(const pss_buf &stored_key, const pss_buf &value) {
  sch_config_key key = {};
  sch_schedule_rec schedule = {};
  if (stored_key.length != sizeof key || value.length < sizeof schedule) return {};
  std::memcpy(&key, stored_key.data, sizeof key);
  sch_ntoh_config_key(&key);
  std::memcpy(&schedule, value.data, sizeof schedule);
  const bool is_disabled = key.type == SCH_CONFIG_SCHEDULE && !is_enabled(schedule);
  return is_disabled ? disabling_line(key) : std::string();
}

std::string disabling_lines(const char *uri) {
  uint32_t error = 0;
  std::string lines;
  if (!host::store_exists(uri)) return lines;
  const pss_handle store = pss_open(uri, &error);
  if (error != 0) return lines;
  pss_cursor cursor = {};
  for (const pss_buf *key = pss_move2location(store, PSS_FIRST, &cursor); key != nullptr;
       key = pss_move2location(store, PSS_NEXT, &cursor)) {
    const pss_buf *value = pss2_fetch(store, key, &error);
    if (value != nullptr) lines += line_for(*key, *value);
  }
  pss_close(store);
  return lines;
}

}  // namespace

std::string startup_configuration_text() {
  return host::configuration_text(host::ConfigType::startup) + disabling_lines(startup_store);
}

std::string stored_configuration_text() {
  return host::stored_running_text() + disabling_lines(running_store);
}

}  // namespace service
