// SPDX-License-Identifier: Apache-2.0
#include "service/request/shown_time.h"

#include <algorithm>
#include <cstdio>

namespace service {
namespace {

constexpr int64_t minute = 60, hour = 60 * minute, day = 24 * hour;

std::string two_units(int64_t first, char first_unit, int64_t second, char second_unit) {
  char text[48];
  std::snprintf(text, sizeof text, "%lld%c %02lld%c", static_cast<long long>(first), first_unit,
                static_cast<long long>(second), second_unit);
  return text;
}

}  // namespace

std::string shown_moment(time_t moment) {
  struct tm fields = {};
  char text[64];
  localtime_r(&moment, &fields);
  return {text, std::strftime(text, sizeof text, "%a %Y-%m-%d %H:%M:%S %z", &fields)};
}

// Not negative, even if the clock was set back meanwhile.
std::string shown_duration(int64_t milliseconds) {
  milliseconds = std::max<int64_t>(milliseconds, 0);
  if (milliseconds >= minute * 1000) return shown_wait(milliseconds / 1000);
  char text[32];
  std::snprintf(text, sizeof text, "%d.%03ds", static_cast<int>(milliseconds / 1000),
                static_cast<int>(milliseconds % 1000));
  return text;
}

std::string shown_wait(int64_t seconds) {
  if (seconds <= 0) return "now";
  if (seconds >= day) return two_units(seconds / day, 'd', seconds % day / hour, 'h');
  if (seconds >= hour) return two_units(seconds / hour, 'h', seconds % hour / minute, 'm');
  if (seconds >= minute) return two_units(seconds / minute, 'm', seconds % minute, 's');
  return std::to_string(seconds) + "s";
}

}  // namespace service
