// SPDX-License-Identifier: Apache-2.0
// Lines in the system log about who was refused, so many a minute at most: whoever tries again and again must not fill
// the log.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace host {

class RefusalReport {
 public:
  explicit RefusalReport(unsigned lines_a_minute) : lines_a_minute_(lines_a_minute) {}

  // `who`: "user alice", "uid 1000". A line that comes tells how many did not since the one before it.
  void add(pid_t process, const std::string &who, uint32_t status);

 private:
  bool has_room();

  unsigned lines_a_minute_;
  int64_t began_ = 0;  // the minute that is counted, in seconds of the monotonic clock; 0: none yet
  unsigned lines_ = 0;
  unsigned unreported_ = 0;
};

}  // namespace host
