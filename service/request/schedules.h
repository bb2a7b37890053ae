// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "service/request/context.h"

namespace service {

uint32_t create_schedule(const Call &call, const ScheduleRequest &request);
uint32_t delete_schedule(const Call &call, const ScheduleRequest &request);  // with its history and its addresses
uint32_t modify_schedule(const Call &call, const ModifyRequest &request);

}  // namespace service
