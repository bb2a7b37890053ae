// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "service/request/context.h"

namespace service {

// Renames a job or schedule, with its statuses, history and addresses. Records in the job log keep the old name.
host::Answer rename_named(const Call &call, Payload payload);

}  // namespace service
