// SPDX-License-Identifier: Apache-2.0
#include "service/state/schedule_state.h"

namespace service {

uintptr_t next_serial() {
  static uintptr_t last = 0;
  return ++last;
}

sch_schedule_entry *schedule_by_serial(uintptr_t wanted) {
  sch_schedule_entry *found = nullptr;
  for_each_schedule([&](sch_schedule_entry &entry) {
    if (serial(entry) == wanted) found = &entry;
  });
  return found;
}

sch_schedule_entry *find_schedule(const std::string &name) {
  sch_schedule_entry *entry = nullptr;
  sch_find_schedule(&sch_running_config, name.c_str(), &entry);
  return entry;
}

sch_job_entry *find_job(const std::string &name) {
  sch_job_entry *slot = nullptr;
  sch_find_job(&sch_running_config, name.c_str(), &slot);
  return slot;
}

std::string name_of(const sch_config_key &key) {
  return {key.name, strnlen(key.name, sizeof key.name)};
}

}  // namespace service
