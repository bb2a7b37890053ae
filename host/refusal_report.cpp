// SPDX-License-Identifier: Apache-2.0
#include "host/refusal_report.h"

#include <syslog.h>

#include "platform/errors.h"
#include "platform/syslog.h"

namespace host {

void RefusalReport::add(pid_t process, const std::string &who, uint32_t status, Time now) {
  if (!minute_ || now - minute_->began >= std::chrono::minutes(1)) minute_ = Minute{now};
  if (minute_->lines >= lines_a_minute_) {
    unreported_++;
    return;
  }
  tarn_syslog(LOG_WARNING, "refused process %ld of %s: %s (and %u others before it)", static_cast<long>(process),
              who.c_str(), syserr2str(status), unreported_);
  minute_->lines++;
  unreported_ = 0;
}

}  // namespace host
