// SPDX-License-Identifier: Apache-2.0
#include "service/state/configuration_text.h"

#include <cstring>

#include "host/acfg.h"
#include "host/store/store.h"
#include "schedcli.h"
#include "service/state/schedule_state.h"
#include "service/state/stored_records.h"

namespace service {
namespace {

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
  std::string lines;
  for_each_stored_record(uri, [&](const pss_buf &key, const pss_buf &value) { lines += line_for(key, value); });
  return lines;
}

}  // namespace

std::string startup_configuration_text() {
  return host::configuration_text(host::ConfigType::startup) + disabling_lines(host::startup_store);
}

std::string stored_configuration_text() {
  return host::stored_running_text() + disabling_lines(host::running_store);
}

}  // namespace service
