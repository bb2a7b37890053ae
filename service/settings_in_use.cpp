// SPDX-License-Identifier: Apache-2.0
#include "service/settings_in_use.h"

#include "control/statuses.h"
#include "service/mail/courier.h"
#include "service/run/runner.h"
#include "service/run/scheduler.h"

namespace service {

void tell_limits(const Settings &settings) {
  control::use_error_texts([limits = configured_limits(settings)] { return limits; });
}

void use(Context &context, std::shared_ptr<const Settings> settings) {
  context.settings = std::move(settings);
  tell_limits(*context.settings);
  context.runner.use(context.settings);
  context.scheduler.use(*context.settings);
  if (context.courier != nullptr) context.courier->use(context.settings);
  context.scheduler.check_soon();  // waiting runs may be allowed to begin by the new limits
}

}  // namespace service
