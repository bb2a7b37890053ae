// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "service/process/launch.h"
#include "service/run/outcome.h"

namespace service {

Reason reason_of(const Report &failure);
std::string text_of(const Report &failure, const std::string &owner, const std::string &interpreter);

}  // namespace service
