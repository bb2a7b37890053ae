// SPDX-License-Identifier: Apache-2.0
#include "service/calendar/zone.h"

#include <glib.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <numeric>

#include "host/status.h"
#include "service/calendar/machine_zone.h"
#include "service/calendar/zone_file.h"

namespace service {
namespace {

constexpr int64_t day = 86400;

// The range of stored times, 32 unsigned bits, and two days on each side for the difference of wall clocks.
constexpr int64_t first_moment = -2 * day;
constexpr int64_t last_moment = std::numeric_limits<uint32_t>::max() + 2 * day;

constexpr int64_t farthest_offset = 26 * 3600;  // more than any zone or POSIX rule has

struct ReleaseZone {
  void operator()(GTimeZone *zone) const { g_time_zone_unref(zone); }
};
using GlibZone = std::unique_ptr<GTimeZone, ReleaseZone>;

int interval_at(GTimeZone *zone, int64_t moment) {
  return g_time_zone_find_interval(zone, G_TIME_TYPE_UNIVERSAL, moment);
}

// The first moment after `moment` at which another interval begins, found by bisection: GLib has no function for it.
int64_t next_interval(GTimeZone *zone, int64_t moment) {
  constexpr int64_t stride = 90 * day;
  const int interval = interval_at(zone, moment);
  int64_t low = moment, high = moment + stride;
  while (high < last_moment && interval_at(zone, high) == interval) {
    low = high;
    high += stride;
  }
  while (high - low > 1) {
    const int64_t middle = std::midpoint(low, high);
    (interval_at(zone, middle) == interval ? low : high) = middle;
  }
  return high;
}

bool is_readable(const std::string &file) {
  std::ifstream stream(file, std::ios::binary);
  return is_whole_zone_file({std::istreambuf_iterator<char>(stream), {}});
}

// A rule begins with a name, perhaps in angle brackets. GLib would also take an offset alone ("+5"), which the C
// library of a job that finds it in TZ takes for universal time.
bool may_be_rule(const std::string &name) {
  return g_ascii_isalpha(name[0]) || name[0] == '<';
}

GlibZone read_zone(const std::string &identifier) {
  const std::string name = identifier.substr(identifier.starts_with(':') ? 1 : 0);
  const std::vector<std::string> files = files_of_zone(name);
  if (name.empty() || (files.empty() ? !may_be_rule(name) : !is_readable(files.back()))) return {};
  return GlibZone(g_time_zone_new_identifier(name.c_str()));
}

}  // namespace

host::Result<Zone> Zone::load(const std::string &identifier) {
  const GlibZone zone = read_zone(identifier);
  if (!zone)
    return host::Error{host::err_bad_value,
                       "time zone \"" + identifier + "\": there is none of that name, or its file is damaged"};
  Zone loaded;
  loaded.identifier_ = identifier;
  loaded.spans_.clear();
  const int last = interval_at(zone.get(), last_moment);
  for (int64_t from = first_moment;; from = next_interval(zone.get(), from)) {
    const int interval = interval_at(zone.get(), from);
    const int32_t offset = g_time_zone_get_offset(zone.get(), interval);
    if (loaded.spans_.empty())
      loaded.spans_.push_back({std::numeric_limits<int64_t>::min(), offset});
    else if (loaded.spans_.back().offset != offset)
      loaded.spans_.push_back({from, offset});
    if (interval == last) return loaded;
  }
}

Zone::Spans::const_iterator Zone::span_at(int64_t moment) const {
  const auto later = [](int64_t value, const Span &span) { return value < span.from; };
  return std::upper_bound(spans_.begin(), spans_.end(), moment, later) - 1;
}

int32_t Zone::offset_at(time_t moment) const {
  return span_at(moment)->offset;
}

time_t Zone::moment_of(WallTime wall) const {
  for (auto span = span_at(wall.seconds - farthest_offset);; ++span) {
    const int64_t moment = std::max(wall.seconds - span->offset, span->from);  // in a gap: its end
    const auto next = span + 1;
    if (next == spans_.end() || moment < next->from) return static_cast<time_t>(moment);
  }
}

}  // namespace service
