// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <memory>

#include "host/transport/transport.h"
#include "service/config/settings.h"
#include "service/configuration/history.h"
#include "service/request/authority.h"
#include "service/request/decode.h"

namespace service {

class Accounts;
struct PendingConfiguration;
class Courier;
class JobLog;
class Runner;
class Scheduler;
class Tally;

// What request handlers work on, besides the library's database.
struct Context {
  Authority authority;
  JobLog &log;
  Runner &runner;
  Scheduler &scheduler;
  bool stale_statuses = false;  // records of deleted jobs or schedules could not be removed from the status store
  std::shared_ptr<const Settings> settings = std::make_shared<const Settings>();  // replaced at a reload
  time_t started = 0;
  Courier *courier = nullptr;                             // null: no mail is sent
  Origin last_change = {};                                // who last changed the configuration
  PendingConfiguration *pending_configuration = nullptr;  // null: nobody replaces the configuration
  Accounts *accounts = nullptr;                           // null: every account may be used
  Tally *tally = nullptr;                                 // null: nothing is counted
};

struct Call {
  Context &context;
  const host::Caller &caller;
};

}  // namespace service
