// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/security/security.h"
#include "service/process/limits.h"

namespace service {

// One job of a run, ready to be started.
struct Task {
  std::string interpreter;  // gets the text as a file, whose name is its only argument
  std::string schedule, job, text;
  host::User owner;
  bool change_user = false;  // the service runs as root
  Limits limits = {};
  std::string time_zone = {};  // the job's TZ; empty: none
  bool leave_daemons = false;  // what still runs when the job has ended is left alone
};

}  // namespace service
