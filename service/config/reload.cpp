// SPDX-License-Identifier: Apache-2.0
#include "service/config/reload.h"

#include <syslog.h>

#include "platform/syslog.h"
#include "service/config/keys.h"

namespace service {
namespace {

constexpr size_t problems_said = 20;  // schedd --check prints all of them

void say_what_waits_for_a_start(Settings before, Settings after) {
  const std::vector<Key> old_keys = keys_of(before), new_keys = keys_of(after);
  for (size_t i = 0; i < new_keys.size(); i++)
    if (new_keys[i].at_start && value_of(old_keys[i]) != value_of(new_keys[i]))
      tarn_syslog(LOG_NOTICE, "settings: %s=%s takes effect when the service starts again", new_keys[i].name,
                  value_of(new_keys[i]).c_str());
}

}  // namespace

bool reload(SettingsRead read, std::shared_ptr<const Settings> *in_use) {
  for (size_t i = 0; i < read.problems.size() && i < problems_said; i++)
    tarn_syslog(LOG_ERR, "settings: %s", read.problems[i].c_str());
  if (!read.problems.empty()) {
    tarn_syslog(LOG_ERR, "settings: not read again, those in use stay");
    return false;
  }
  say_what_waits_for_a_start(**in_use, read.settings);
  *in_use = std::make_shared<const Settings>(std::move(read.settings));
  tarn_syslog(LOG_NOTICE, "settings: read again");
  return true;
}

}  // namespace service
