// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "service/request/context.h"

namespace service {

// After a reload: hands the settings to everybody whom they concern.
void use(Context &context, std::shared_ptr<const Settings> settings);

}  // namespace service
