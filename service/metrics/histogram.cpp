// SPDX-License-Identifier: Apache-2.0
#include "service/metrics/histogram.h"

#include <algorithm>
#include <numeric>

namespace service {

// A clock that was set back meanwhile makes no negative one: a sum must not fall.
void Histogram::add(int64_t duration_ms) {
  duration_ms = std::max<int64_t>(duration_ms, 0);
  const auto bound = std::ranges::lower_bound(bounds_ms_, duration_ms);
  counts_[static_cast<size_t>(bound - bounds_ms_.begin())]++;
  sum_ms_ += duration_ms;
}

uint64_t Histogram::within(size_t bound) const {
  return std::accumulate(counts_.begin(), counts_.begin() + static_cast<std::ptrdiff_t>(bound) + 1, uint64_t{0});
}

}  // namespace service
