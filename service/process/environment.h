// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "service/process/task.h"

namespace service {

// Made from nothing: no variable of the service's reaches a job.
std::vector<std::string> job_environment(const Task &task);

}  // namespace service
