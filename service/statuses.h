// SPDX-License-Identifier: Apache-2.0
// The outcome of each job's last run under each schedule: in the job's slot and in pss_running_db.
#pragma once

#include <functional>
#include <string>

#include "service/context.h"

namespace service {

using WhichStatus = std::function<bool(const sch_runtime_job_status &)>;

std::string schedule_of(const sch_runtime_job_status &status);
const sch_runtime_job_status *find_status(const sch_job_entry &slot, const char *schedule);

// Replaces or adds the job's status under this schedule, in memory and durably. A status.
uint32_t set_status(sch_job_entry &slot, const sch_runtime_job_status &status);

// Forgets these statuses in memory and durably. When the store refuses, they are forgotten in memory and
// context.stale_statuses is set.
void delete_statuses(Context &context, const WhichStatus &which);

// Before a new job or schedule could inherit them: removes every stored status without its job or its schedule when
// there may be any. False: the store refuses.
bool forget_stale_statuses(Context &context);

// The same in any case: at start-up, when a crash may have come between the commits of the two stores.
bool purge_statuses();

}  // namespace service
