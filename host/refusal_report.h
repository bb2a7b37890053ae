// SPDX-License-Identifier: Apache-2.0
// Lines in the system log about refused callers, rate-limited: a caller who tries again and again must not fill the
// log.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace host {

class RefusalReport {
 public:
  explicit RefusalReport(unsigned lines_a_minute) : lines_a_minute_(lines_a_minute) {}

  // `who`: "user alice", "uid 1000". Each line also says how many were suppressed since the previous one.
  void add(pid_t process, const std::string &who, uint32_t status);

 private:
  bool has_room();

  unsigned lines_a_minute_;
  int64_t began_ = 0;  // start of the current minute, in seconds of the monotonic clock; 0: none yet
  unsigned lines_ = 0;
  unsigned unreported_ = 0;
};

}  // namespace host
