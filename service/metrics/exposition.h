// SPDX-License-Identifier: Apache-2.0
// Metrics as text that is both OpenMetrics and the older Prometheus text format, which the textfile collector takes.
// The two agree on gauges and histograms. They name the family of a counter differently, so that a counter stands
// without its type: either format takes it for one of unknown type, and rate() does not ask.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "service/metrics/histogram.h"

namespace service {

class Exposition {
 public:
  using Labels = std::vector<std::pair<std::string_view, std::string_view>>;

  // What follows is of this family.
  void gauges(std::string_view name, std::string_view help);
  void counters(std::string_view name, std::string_view help);  // the name ends with "_total"

  void sample(uint64_t value, const Labels &labels = {});

  void histogram(std::string_view name, std::string_view help, const Histogram &histogram);  // of milliseconds

  std::string text() const { return text_ + "# EOF\n"; }

 private:
  void head(std::string_view name, std::string_view help);

  std::string family_, text_;
};

}  // namespace service
