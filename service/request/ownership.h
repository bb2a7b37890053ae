// SPDX-License-Identifier: Apache-2.0
// Jobs and schedules by name, for callers who may change them. Status 0: it exists and the caller may use it.
#pragma once

#include <string>
#include <vector>

#include "service/request/context.h"

namespace service {

// What every change of a job or schedule needs: the feature is enabled, and the caller may configure.
uint32_t may_change(const Call &call);

uint32_t find_own_job(const Call &call, const std::string &name, sch_job_entry **slot);
uint32_t find_own_schedule(const Call &call, const std::string &name, sch_schedule_entry **entry);

std::vector<const sch_schedule_entry *> own_schedules(const Call &call);  // that the caller may use, by number

}  // namespace service
