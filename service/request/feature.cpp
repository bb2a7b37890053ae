// SPDX-License-Identifier: Apache-2.0
#include "service/request/feature.h"

#include "schedcli.h"
#include "service/run/due.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

void arm_all(ConfigChange &change, time_t now) {
  for_each_schedule([&](sch_schedule_entry &entry) {
    if (next_due(entry) == 0) return;
    change.modify(entry);
    arm(entry, now);
    change.save(entry);
  });
}

}  // namespace

void change_feature(ConfigChange &change, bool enabled, time_t now) {
  const sch_config_key key = {SCH_CONFIG_ENABLE, 0, {}};
  change.undo([before = scheduler_enabled] { scheduler_enabled = before; });
  scheduler_enabled = enabled ? 1 : 0;
  change.require(sch_save_condition_entry_to_pss(pss_running, &key, scheduler_enabled));
  if (enabled) arm_all(change, now);
}

}  // namespace service
