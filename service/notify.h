// SPDX-License-Identifier: Apache-2.0
// What the process that supervises this one is told, if it asked for it by its environment.
#pragma once

#include <string>

#include "host/loop/watch.h"

namespace service {

void notify_supervisor(const std::string &state);  // "READY=1", "STOPPING=1"
// It ends, and may take so long: a supervisor that would lose patience, or miss the signs of life, waits.
void notify_stopping(unsigned longest_s);
void notify_reloading();  // "READY=1" says later that it is over

// A sign of life at half the interval that the supervisor waits for one, from the main loop: a loop that hangs gives
// none.
class Watchdog {
 public:
  Watchdog() { tick(); }
  Watchdog(const Watchdog &) = delete;
  Watchdog &operator=(const Watchdog &) = delete;

 private:
  void tick();
  host::Watch next_;
};

// Milliseconds between two signs; 0: none is asked for.
unsigned watchdog_period_ms();

}  // namespace service
