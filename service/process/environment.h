// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "service/process/task.h"

namespace service {

// A job's whole environment: none of the service's variables is inherited.
std::vector<std::string> job_environment(const Task &task);

}  // namespace service
