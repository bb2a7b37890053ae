// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/security/security.h"
#include "service/process/limits.h"

namespace service {

// One job of a run, ready to be started.
struct Task {
  std::string interpreter;  // called with the name of a file that holds the text
  std::string schedule, job, text;
  host::User owner;
  bool change_user = false;  // the service runs as root
  Limits limits = {};
  std::string time_zone = {};  // the job's TZ; empty: none
  bool leave_daemons = false;  // do not kill processes that still run when the job has ended
};

}  // namespace service
