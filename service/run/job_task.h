// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/security/security.h"
#include "schedcli.h"
#include "service/config/settings.h"
#include "service/process/processes.h"

namespace service {

struct RunOptions {
  std::shared_ptr<const Settings> settings;  // replaced at a reload, for jobs that start later
  bool change_user;                          // run jobs as the schedule's owner, otherwise as the service's user
};

// The user as whom a schedule runs, if there is one; whether the name still belongs to `owner_tag` is to be checked.
std::optional<host::User> owner_for(const RunOptions &options, const std::string &name, uint32_t owner_tag);

// The id of the next job of the schedule after `id`; -1 for none, both ways.
int job_after(const sch_schedule_rec &rec, int id);

// What a job is started with when the schedule runs as `owner`.
Task task_for(const sch_job_entry &slot, const std::string &schedule, const host::User &owner,
              const RunOptions &options, Processes &processes);

}  // namespace service
