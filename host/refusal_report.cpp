// SPDX-License-Identifier: Apache-2.0
#include "host/refusal_report.h"

#include <glib.h>
#include <syslog.h>

#include "platform/errors.h"
#include "platform/syslog.h"

namespace host {

namespace {

constexpr int64_t minute_seconds = 60;

}  // namespace

bool RefusalReport::has_room() {
  const int64_t now = g_get_monotonic_time() / G_USEC_PER_SEC + 1;
  if (began_ == 0 || now - began_ >= minute_seconds) {
    began_ = now;
    lines_ = 0;
  }
  return lines_ < lines_a_minute_;
}

void RefusalReport::add(pid_t process, const std::string &who, uint32_t status) {
  if (!has_room()) {
    unreported_++;
    return;
  }
  tarn_syslog(LOG_WARNING, "refused process %ld of %s: %s (and %u others before it)", static_cast<long>(process),
              who.c_str(), syserr2str(status), unreported_);
  lines_++;
  unreported_ = 0;
}

}  // namespace host
