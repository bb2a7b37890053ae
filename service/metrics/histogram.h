// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace service {

// How many of some durations are within each bound. The bounds are the caller's, in ascending order.
class Histogram {
 public:
  explicit Histogram(std::span<const int64_t> bounds_ms) : bounds_ms_(bounds_ms), counts_(bounds_ms.size() + 1) {}

  void add(int64_t duration_ms);

  std::span<const int64_t> bounds_ms() const { return bounds_ms_; }
  uint64_t within(size_t bound) const;  // as many as are not above the bound of this index
  uint64_t count() const { return within(counts_.size() - 1); }
  int64_t sum_ms() const { return sum_ms_; }

 private:
  std::span<const int64_t> bounds_ms_;
  std::vector<uint64_t> counts_;  // between the bound before and its own; the last one is beyond all
  int64_t sum_ms_ = 0;
};

}  // namespace service
