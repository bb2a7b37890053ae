// SPDX-License-Identifier: Apache-2.0
// Requests about the configuration as a whole.
#pragma once

#include "service/request/context.h"

namespace service {

host::Answer put_configuration(const Call &call, Payload payload);
host::Answer apply_configuration(const Call &call, Payload payload);
host::Answer show_configuration(const Call &call, Payload payload);
host::Answer confirm_configuration(const Call &call, Payload payload);
host::Answer erase_startup(const Call &call, Payload payload);
host::Answer save_running(const Call &call, Payload payload);

}  // namespace service
