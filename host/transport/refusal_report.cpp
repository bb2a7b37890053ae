// SPDX-License-Identifier: Apache-2.0
#include "host/transport/refusal_report.h"

#include <glib.h>
#include <syslog.h>

#include "platform/errors.h"
#include "platform/syslog.h"

namespace host {

namespace {

constexpr int64_t pause_seconds = 60;

}  // namespace

void RefusalReport::add(const Peer &peer, uint32_t status) {
  const int64_t now = g_get_monotonic_time() / G_USEC_PER_SEC + 1;
  if (last_ != 0 && now - last_ < pause_seconds) {
    unreported_++;
    return;
  }
  tarn_syslog(LOG_WARNING, "refused process %ld of uid %lu: %s (and %u others before it)",
              static_cast<long>(peer.credentials.pid), static_cast<unsigned long>(peer.credentials.uid),
              syserr2str(status), unreported_);
  last_ = now;
  unreported_ = 0;
}

}  // namespace host
