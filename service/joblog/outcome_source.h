// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "service/joblog/log_record.h"

namespace service {

// The outcomes that stand in the store: the log is completed from them after a crash. Without them (empty functions)
// the log stands for itself.
struct OutcomeSource {
  // Sequence of the newest outcome; 0: there is none.
  std::function<uint64_t()> newest;
  // Every outcome after that sequence, in ascending order, without its output.
  std::function<void(uint64_t after, const std::function<void(const LogRecord &)> &visit)> walk_after;
};

// Outcomes that the log's file does not hold any more and that the store still knows, to be shown between its records.
struct GoneOutcomes {
  struct Key {
    uint64_t sequence, run;
    uint64_t schedule;  // serial
  };
  std::vector<Key> keys;                        // ascending
  std::function<LogRecord(const Key &)> fetch;  // says so when the store, too, has forgotten it
};

}  // namespace service
