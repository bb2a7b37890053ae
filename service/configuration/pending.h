// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "service/configuration/confirmation.h"
#include "service/configuration/uploads.h"

namespace service {

// The state of requests about configurations that spans several requests: texts being sent, and a change that waits for
// its confirmation.
struct PendingConfiguration {
  explicit PendingConfiguration(Context &context) : confirmation(context) {}
  Uploads uploads;
  Confirmation confirmation;
};

}  // namespace service
