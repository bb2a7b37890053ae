// SPDX-License-Identifier: Apache-2.0
// What of the job log somebody asks for.
#pragma once

#include "host/result.h"
#include "service/joblog/log_index.h"
#include "service/joblog/log_reader.h"
#include "service/request/context.h"

namespace service {

host::Result<LogFilter> chosen_log(const Call &call, Payload payload);  // by control::LogQuery
LogReader read_own_log(const Call &call, LogFilter filter);             // of it what the caller may see

}  // namespace service
