// SPDX-License-Identifier: Apache-2.0
// The service beside an active one on another machine: it holds its state directory and keeps its stores, as somebody
// replaces them there, and runs nothing. What was due meanwhile is for whoever is active; a take-over goes on with the
// stores as they are, as a restart does.
#pragma once

#include <ctime>
#include <memory>

#include "host/result.h"
#include "host/security/security.h"
#include "host/transport/transport.h"
#include "service/config/settings.h"
#include "service/request/authority.h"

namespace service {

class Standby {
 public:
  Standby(const host::User &user, time_t started);
  ~Standby();
  Standby(const Standby &) = delete;
  Standby &operator=(const Standby &) = delete;

  host::Result<void> open();  // takes the directories and opens the stores, or makes them; restores nothing

  // How the service does, and its zone; everything else has to wait. `settings` in use.
  host::Answer answer(const host::Incoming &incoming, const Settings &settings) const;
  bool may_end_it(const host::Caller &caller) const { return authority_.administrator(caller); }

 private:
  Authority authority_;
  time_t started_;
};

}  // namespace service
