// SPDX-License-Identifier: Apache-2.0
// From the state directory to a database that is whole, in memory and in the stores.
#pragma once

#include <ctime>
#include <string>

#include "service/request/context.h"

namespace service {

// Opens the stores and fills the database. Holds the state directory's lock when it returns true.
bool open_stores(const Settings &settings, time_t now, std::string *error);

// Afterwards: what a restart must find again is stored, and nothing inherits what is not its own. False: the store
// refuses.
bool settle_stores(std::string *error);

}  // namespace service
