// SPDX-License-Identifier: Apache-2.0
// Requests of service_control: the feature, configuration texts and copies, the logging level, debugging.
#pragma once

#include "control/operations.h"
#include "service/request/context.h"

namespace service {

bool only_reads(Payload request);                      // of an operation and its payload
bool changes_something(control::Operation operation);  // of the operations that are open to everybody
host::Answer control(const Call &call, control::Operation operation, Payload payload);

}  // namespace service
