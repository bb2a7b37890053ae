// SPDX-License-Identifier: Apache-2.0
// A time zone as a table of offsets, and the conversions between a moment and what a wall clock shows.
#pragma once

#include <compare>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "host/result.h"

namespace service {

// What a wall clock shows, as the seconds since it showed 1970-01-01 00:00. It has no zone.
struct WallTime {
  int64_t seconds = 0;
  // clang-tidy takes the literal zero in the generated comparison for a null pointer.
  auto operator<=>(const WallTime &) const = default;  // NOLINT(modernize-use-nullptr)
};

// Copies what GLib reads: GLib caches its own zones by name, even after the zone's file has changed.
class Zone {
 public:
  Zone() = default;  // UTC

  // `identifier` as the variable TZ has it: a name of the zone files, the path of one, or a rule
  // (CET-1CEST,M3.5.0,...).
  static host::Result<Zone> load(const std::string &identifier);

  const std::string &identifier() const { return identifier_; }

  int32_t offset_at(time_t moment) const;  // seconds to add to a moment, positive in the east
  WallTime wall_at(time_t moment) const { return {int64_t{moment} + offset_at(moment)}; }

  // The first moment at which the wall clock shows this; for a time that it skips, the end of the gap.
  time_t moment_of(WallTime wall) const;

  bool same_offsets(const Zone &other) const { return spans_ == other.spans_; }

 private:
  struct Span {  // has one offset, from `from` until the next span begins
    int64_t from;
    int32_t offset;
    bool operator==(const Span &) const = default;
  };
  using Spans = std::vector<Span>;

  Spans::const_iterator span_at(int64_t moment) const;

  std::string identifier_ = "UTC";
  Spans spans_ = {{INT64_MIN, 0}};  // never empty; the first one has no beginning
};

}  // namespace service
