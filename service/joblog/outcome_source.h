// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "service/joblog/log_record.h"

namespace service {

// Access to the outcomes in the store, from which the log is completed after a crash. With empty functions it is not.
struct OutcomeSource {
  // Sequence of the newest outcome; 0: there is none.
  std::function<uint64_t()> newest;
  // Every outcome after that sequence, in ascending order, without its output.
  std::function<void(uint64_t after, const std::function<void(const LogRecord &)> &visit)> walk_after;
};

// Outcomes that the log's file no longer has but the store does, to be shown between the file's records.
struct GoneOutcomes {
  struct Key {
    uint64_t sequence, run;
    uint64_t schedule;  // serial
  };
  std::vector<Key> keys;                        // ascending
  std::function<LogRecord(const Key &)> fetch;  // if the store no longer has it either, the record says so
};

}  // namespace service
