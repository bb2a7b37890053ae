// SPDX-License-Identifier: Apache-2.0
// Lines in the system log about clients that were refused, at most one a minute: whoever attacks must not fill the log.
#pragma once

#include <cstdint>

#include "host/transport/caller.h"

namespace host {

class RefusalReport {
 public:
  void add(const Peer &peer, uint32_t status);

 private:
  int64_t last_ = 0;  // seconds of the monotonic clock; 0: none yet
  unsigned unreported_ = 0;
};

}  // namespace host
