// SPDX-License-Identifier: Apache-2.0
// The service in standby, beside an active one on another machine. It holds its state directory, whose stores something
// else keeps up to date, and runs nothing. A take-over goes on like a restart, with the stores as they are then.
#pragma once

#include <ctime>
#include <memory>

#include "host/result.h"
#include "host/security/security.h"
#include "host/transport/transport.h"
#include "service/config/settings.h"
#include "service/request/authority.h"
#include "service/request/decode.h"

namespace service {

class Standby {
 public:
  Standby(const host::User &user, time_t started);
  ~Standby();
  Standby(const Standby &) = delete;
  Standby &operator=(const Standby &) = delete;

  host::Result<void> open();  // locks the directories and opens or creates the stores; restores nothing

  // Answers requests for the status and the zone, and refuses all others.
  host::Answer answer(const host::Incoming &incoming, const Settings &settings) const;
  bool may_end_it(const host::Caller &caller) const { return authority_.administrator(caller); }

 private:
  host::Answer answer_as_json(const host::Incoming &incoming, Payload payload, const Settings &settings) const;

  Authority authority_;
  time_t started_;
};

}  // namespace service
