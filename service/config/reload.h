// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "service/config/settings_file.h"

namespace service {

// Replaces the settings in use by those that were read, unless these have problems. Logs the problems, or which keys
// take effect only at the next start. False: nothing was changed.
bool reload(SettingsRead read, std::shared_ptr<const Settings> *in_use);

}  // namespace service
