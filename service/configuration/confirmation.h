// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "host/loop/watch.h"
#include "host/result.h"
#include "service/request/context.h"

namespace service {

// A configuration that takes itself back unless it is confirmed in time. What it would go back to, and when, is on
// disk, so that it does after a restart too.
class Confirmation {
 public:
  struct Awaited {
    uint32_t entry = 0;  // of the history: the configuration to go back to
    time_t deadline = 0;
    uint32_t owner_tag = 0;  // whose part goes back; 0: all of it
    std::string who;
  };

  explicit Confirmation(Context &context) : context_(context) {}

  void start();  // at the service's start: what was awaited is awaited still, or taken back when its time has come
  host::Result<void> await(const Awaited &awaited);
  void forget();  // confirmed, or what was to be confirmed did not come about
  std::optional<Awaited> awaited() const;
  void look(time_t now);  // takes it back when its time has come

 private:
  void take_back(const Awaited &awaited);

  Context &context_;
  host::Watch again_;
};

}  // namespace service
