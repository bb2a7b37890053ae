// SPDX-License-Identifier: Apache-2.0
// Lines in the system log about refused callers, rate-limited: a caller who tries again and again must not fill the
// log.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace host {

class RefusalReport {
 public:
  explicit RefusalReport(unsigned lines_a_minute) : lines_a_minute_(lines_a_minute) {}

  using Time = std::chrono::steady_clock::time_point;

  // `who`: "user alice", "uid 1000". Each line also says how many were suppressed since the previous one.
  void add(pid_t process, const std::string &who, uint32_t status, Time now = std::chrono::steady_clock::now());

 private:
  struct Minute {
    Time began;
    unsigned lines = 0;
  };
  unsigned lines_a_minute_;
  std::optional<Minute> minute_;  // begins with its first refusal
  unsigned unreported_ = 0;
};

}  // namespace host
