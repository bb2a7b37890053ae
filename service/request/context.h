// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/transport/transport.h"
#include "service/request/authority.h"
#include "service/request/decode.h"

namespace service {

class JobLog;
class Runner;

// What a request handler works on beside the library's database.
struct Context {
  Authority authority;
  JobLog &log;
  Runner &runner;
  bool stale_statuses = false;  // the status store still holds records of what was deleted
};

struct Call {
  Context &context;
  const host::Caller &caller;
};

}  // namespace service
