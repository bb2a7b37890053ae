// SPDX-License-Identifier: Apache-2.0
// The statuses in memory: the library's list of each job, and a look-up by job and schedule.
#pragma once

#include <string_view>

#include "schedcli.h"

namespace service {

void rebuild_status_table();  // after the lists were filled or emptied by the library

// The element of the job's list; null when there is none.
GList *find_status_element(uint32_t job_id, std::string_view schedule);

bool put_status(sch_job_entry &slot, const sch_runtime_job_status &status);  // false, or bad_alloc: nothing has changed
void remove_status(sch_job_entry &slot, GList *element);

}  // namespace service
