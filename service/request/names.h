// SPDX-License-Identifier: Apache-2.0
// Which names there are, for shells that complete them or look before they act.
#pragma once

#include "service/request/context.h"

namespace service {

host::Answer find_named(const Call &call, Payload payload);
host::Answer list_names(const Call &call, Payload payload);

}  // namespace service
