// SPDX-License-Identifier: Apache-2.0
// A measure of a program as one line of JSON, as run.py takes it.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace bench {

using Samples = std::vector<double>;

inline double percentile(Samples samples, double share) {
  const auto place = static_cast<std::ptrdiff_t>(share * static_cast<double>(samples.size() - 1) + 0.5);
  std::ranges::nth_element(samples, samples.begin() + place);
  return samples[static_cast<std::size_t>(place)];
}

inline std::string spread(const Samples &samples) {
  char text[128];
  std::snprintf(text, sizeof text, R"({"p50": %g, "p95": %g, "of": %zu})", percentile(samples, 0.5),
                percentile(samples, 0.95), samples.size());
  return text;
}

// goal 0: none. The figure is the median of the rounds' own ratios where each round has both.
inline void print_row(const std::string &name, const char *unit, const Samples &ours, const Samples &peer,
                      const char *peer_name, double goal) {
  double figure = percentile(ours, 0.5) / percentile(peer, 0.5);
  if (ours.size() == peer.size()) {
    Samples ratios(ours.size());
    std::ranges::transform(ours, peer, ratios.begin(), [](double own, double other) { return own / other; });
    figure = percentile(ratios, 0.5);
  }
  char bound[32] = "null";
  if (goal != 0) std::snprintf(bound, sizeof bound, "%g", goal);
  std::printf(
      R"({"name": "%s", "unit": "%s", "ours": %s, "peer": %s, "peer_name": "%s", "figure": %g, "goal": %s, "at_least": false})"
      "\n",
      name.c_str(), unit, spread(ours).c_str(), spread(peer).c_str(), peer_name, figure, bound);
}

inline double microseconds(const std::function<void()> &work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace bench
