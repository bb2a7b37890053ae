// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "service/request/context.h"

namespace service {

uint32_t create_job(const Call &call, const JobRequest &request);
uint32_t define_job(const Call &call, const JobRequest &request);  // replaces the text
uint32_t delete_job(const Call &call, const JobRequest &request);  // also from every schedule, with its history

}  // namespace service
