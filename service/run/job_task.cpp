// SPDX-License-Identifier: Apache-2.0
#include "service/run/job_task.h"

#include <vector>

#include "platform/bitset.h"
#include "service/calendar/service_zone.h"
#include "service/state/job_text.h"
#include "service/state/tables.h"

namespace service {
namespace {

// Looks up groups only if there are classes. A user whose groups cannot be looked up counts as in none.
const ClassSettings &class_of(const host::User &owner, const Settings &settings, Processes &processes) {
  if (settings.classes.size() == 1) return settings.classes.front();
  const std::vector<std::string> *groups = processes.user_groups().names_of(owner, Groups::Clock::now());
  return class_for(settings, groups != nullptr ? *groups : std::vector<std::string>());
}

}  // namespace

std::optional<host::User> owner_for(const RunOptions &options, const std::string &name, uint32_t owner_tag) {
  return options.change_user ? host::user_by_name(name) : host::user_by_uid(owner_tag - 1);
}

int job_after(const sch_schedule_rec &rec, int id) {
  do {
    id = bitset_next_bit(rec.jobs, SCH_MAX_JOBS, id);
  } while (id >= 0 && (sch_job_list[id].key == nullptr || sch_job_list[id].hdr == nullptr));
  return id;
}

Task task_for(const sch_job_entry &slot, const std::string &schedule, const host::User &owner,
              const RunOptions &options, Processes &processes) {
  const ClassSettings &settings = class_of(owner, *options.settings, processes);
  Task task = {options.settings->interpreter, schedule, name_of(*slot.key), job_text(slot), owner, options.change_user};
  task.limits = limits_of(settings);
  task.leave_daemons = settings.leave_daemons;
  task.time_zone = service_zone().identifier();
  return task;
}

}  // namespace service
