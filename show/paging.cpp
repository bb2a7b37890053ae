// SPDX-License-Identifier: Apache-2.0
#include "show/paging.h"

#include <algorithm>

namespace show {

namespace {

// A negative count or length announces nothing.
uint64_t announced(int32_t count) {
  return static_cast<uint64_t>(std::max(count, 0));
}

}  // namespace

const Subject<sch_show_job_reply> jobs = {
    SCH_OP_SHOW_JOB,
    &sch_show_job_reply::job_id,
    [](const sch_show_job_reply *reply) { return sizeof *reply + announced(reply->length); },
    [] { SCH_TRACE_CLI("sending show job request"); },
    [] {},
};

const Subject<sch_show_schedule_reply> schedules = {
    SCH_OP_SHOW_SCHEDULE,
    &sch_show_schedule_reply::number,
    [](const sch_show_schedule_reply *reply) {
      return sizeof *reply + announced(reply->job_count) * sizeof(sch_job_status_entry);
    },
    [] { SCH_TRACE_CLI("send show schedule request"); },
    [] { SCH_TRACE_CLI("successful run"); },
};

}  // namespace show
