// SPDX-License-Identifier: Apache-2.0
// Enabling and disabling the scheduler feature.
#pragma once

#include <ctime>

#include "service/state/change.h"

namespace service {

// As a part of `change`. Due times that passed while the feature was disabled are neither run nor recorded as missed.
void change_feature(ConfigChange &change, bool enabled, time_t now);

}  // namespace service
