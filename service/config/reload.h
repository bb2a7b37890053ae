// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "service/config/settings_file.h"

namespace service {

// Puts the settings that were read in the place of those in use, or leaves these when anything is wrong. Either is said
// in the system log, and which keys wait for the next start. False: nothing was changed.
bool reload(SettingsRead read, std::shared_ptr<const Settings> *in_use);

}  // namespace service
