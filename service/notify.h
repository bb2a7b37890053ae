// SPDX-License-Identifier: Apache-2.0
// Messages to the process that supervises this one (such as systemd), if it has set NOTIFY_SOCKET.
#pragma once

#include <string>

#include "host/files/file_descriptor.h"
#include "host/loop/watch.h"

namespace service {

void notify_supervisor(const std::string &state);  // "READY=1", "STOPPING=1"
// The service is stopping, which may take so long. Extends the supervisor's time limit, also of its watchdog.
void notify_stopping(unsigned longest_s);
void notify_reloading();  // to be followed by "READY=1" when it is done

// Sends the supervisor's watchdog its keep-alive at half of the interval that it demands, from the event loop: so that
// a hanging loop is noticed.
class Watchdog {
 public:
  Watchdog();
  Watchdog(const Watchdog &) = delete;
  Watchdog &operator=(const Watchdog &) = delete;

 private:
  host::FileDescriptor timer_;
  host::Watch rings_;
};

// Milliseconds between two keep-alives; 0: the supervisor has no watchdog.
unsigned watchdog_period_ms();

}  // namespace service
