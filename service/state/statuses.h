// SPDX-License-Identifier: Apache-2.0
// The outcome of each job's last run under each schedule: in the job's slot and in pss_running_db. Statuses name their
// job by its slot alone; beside them the store keeps whose job it was, for a boot may bring another configuration.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "service/request/context.h"

namespace service {

std::string schedule_of(const sch_runtime_job_status &status);
const sch_runtime_job_status *find_status(const sch_job_entry &slot, const char *schedule);

// Replaces or adds the job's status under this schedule: within the batch that is open on pss_running_db, and in memory
// when that is committed. Each gives a status.
uint32_t store_status(const sch_job_entry &slot, const sch_runtime_job_status &status);
uint32_t remember_status(sch_job_entry &slot, const sch_runtime_job_status &status);

// Forgets these statuses in memory and durably, and with a schedule its run state and history. When the store refuses,
// they are forgotten in memory and context.stale_statuses is set.
void delete_statuses_of_schedule(Context &context, const sch_schedule_entry &entry);
void delete_statuses_of_job(Context &context, sch_job_entry &slot);

// What is stored under a name, stored under another as well: before the one is renamed to the other, so that a crash
// loses nothing. Each gives a status; what is left over of either name is an orphan.
uint32_t copy_statuses_of_schedule(const sch_schedule_entry &entry, const std::string &name);
uint32_t copy_statuses_of_job(const sch_job_entry &slot, const std::string &name);

// After it was renamed: in memory and durably, as above.
void drop_old_statuses_of_schedule(Context &context, const sch_schedule_entry &entry, const std::string &old_name);
void drop_old_statuses_of_job(Context &context, const sch_job_entry &slot, const std::string &old_name);

// Before a new job or schedule could inherit them: removes every stored status, run state and history without its job
// or its schedule when there may be any. False: the store refuses.
bool forget_stale_statuses(Context &context);

// The same in any case: at start-up, when a crash may have come between the commits of the two stores, or a boot may
// have brought other jobs into the slots.
bool purge_statuses();

// After jobs were given other slots (from the first ids to the second, in memory already): the stored statuses follow.
bool carry_statuses(const std::vector<uint32_t> &from, const std::vector<uint32_t> &to);

}  // namespace service
