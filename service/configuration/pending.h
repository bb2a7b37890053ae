// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "service/configuration/confirmation.h"
#include "service/configuration/uploads.h"

namespace service {

// What the service keeps of configurations on their way.
struct ConfigurationDesk {
  explicit ConfigurationDesk(Context &context) : confirmation(context) {}
  Uploads uploads;
  Confirmation confirmation;
};

}  // namespace service
