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

// Rolls a changed configuration back unless the change is confirmed in time. The earlier configuration and the deadline
// are on disk, so that this also happens after a restart.
class Confirmation {
 public:
  struct Awaited {
    uint32_t entry = 0;  // number, in the history, of the configuration to go back to
    uint32_t after = 0;  // of the changed one
    time_t deadline = 0;
    uint32_t owner_tag = 0;  // only this owner's part is rolled back; 0: all of it
    std::string who;
  };

  explicit Confirmation(Context &context) : context_(context) {}

  void start();  // at the service's start: goes on waiting, or rolls back if the deadline has passed
  host::Result<void> await(const Awaited &awaited);
  host::Result<void> forget();  // after the confirmation
  void withdraw();              // when the change failed
  std::optional<Awaited> awaited() const;
  void look(time_t now);  // rolls back if the deadline has passed

 private:
  void take_back(const Awaited &awaited);
  void forget_or_tell();

  Context &context_;
  host::Watch again_;
  uint32_t withdrawn_ = 0;  // Awaited::after of a change that failed, if the file of it is still there; 0: none
};

}  // namespace service
