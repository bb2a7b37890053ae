// SPDX-License-Identifier: Apache-2.0
// Opens the state directory and builds a consistent database from it, in memory and in the stores.
#pragma once

#include <ctime>

#include "host/result.h"
#include "service/request/context.h"

namespace service {

// Opens the stores and restores the database. Afterwards the process holds the state directory's lock.
host::Result<void> open_stores(const Settings &settings, time_t now);

// To be called next: repairs the database, stores what has changed, and removes statuses and histories of jobs and
// schedules that do not exist. An error of the store.
host::Result<void> settle_stores();

}  // namespace service
