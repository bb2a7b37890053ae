// SPDX-License-Identifier: Apache-2.0
// The outcome of a job's last run.
#pragma once

#include "schedcli.h"

namespace show {

// A wait status carries the exit code in bits 8 to 15.
inline int exit_code(uint32_t wait_status) {
  return static_cast<int>(wait_status >> 8 & 0xff);
}

// The status entries stand behind the schedule's fixed part.
inline const sch_job_status_entry *status_entries(const sch_show_schedule_reply *reply) {
  return reinterpret_cast<const sch_job_status_entry *>(reply + 1);
}

}  // namespace show
