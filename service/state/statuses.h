// SPDX-License-Identifier: Apache-2.0
// The outcome of each job's last run under each schedule, in the job's slot and in pss_running_db. A status names its
// job by the slot only, so the store also has a record of which job was in the slot: after a boot it may be another
// one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "service/request/context.h"

namespace service {

std::string schedule_of(const sch_runtime_job_status &status);
const sch_runtime_job_status *find_status(const sch_job_entry &slot, const char *schedule);

// Replaces or adds the job's status under this schedule: store_status in the batch that is open on pss_running_db,
// remember_status in memory, once that is committed. Each returns a status.
uint32_t store_status(const sch_job_entry &slot, const sch_runtime_job_status &status);
uint32_t remember_status(sch_job_entry &slot, const sch_runtime_job_status &status);

// Deletes the statuses in memory and in the store, and for a schedule also its run state and history. If the store
// fails they are deleted in memory only and context.stale_statuses is set.
void delete_statuses_of_schedule(Context &context, const sch_schedule_entry &entry);
void delete_statuses_of_job(Context &context, sch_job_entry &slot);

// Before a rename: copies the stored records to the new name, so that a crash loses nothing. Each returns a status. The
// records of the name that is not used in the end are orphans, which the next start removes.
uint32_t copy_statuses_of_schedule(const sch_schedule_entry &entry, const std::string &name);
uint32_t copy_statuses_of_job(const sch_job_entry &slot, const std::string &name);

// After a rename: updates the statuses in memory and deletes the records of the old name, like delete_statuses_of_*.
void drop_old_statuses_of_schedule(Context &context, const sch_schedule_entry &entry, const std::string &old_name);
void drop_old_statuses_of_job(Context &context, const sch_job_entry &slot, const std::string &old_name);

// Before a job or schedule is created: if context.stale_statuses says that there may be any, removes every status, run
// state and history whose job or schedule does not exist, as the new one could inherit it. False: the store failed.
bool forget_stale_statuses(Context &context);

// The same unconditionally, for the service's start: after a crash between the commits of the two stores, or a boot
// that has put other jobs into the slots.
bool purge_statuses();

// After jobs were moved to other slots in memory (`from` to `to`): moves their stored statuses too.
bool carry_statuses(const std::vector<uint32_t> &from, const std::vector<uint32_t> &to);

}  // namespace service
