// SPDX-License-Identifier: Apache-2.0
// From the state directory to a database that is whole, in memory and in the stores.
#pragma once

#include <ctime>

#include "host/result.h"
#include "service/request/context.h"

namespace service {

// Opens the stores and fills the database. Afterwards the process holds the state directory's lock.
host::Result<void> open_stores(const Settings &settings, time_t now);

// Afterwards: what a restart must find again is stored, and nothing inherits what is not its own. Fails
// when the store refuses.
host::Result<void> settle_stores();

}  // namespace service
