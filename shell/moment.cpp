// SPDX-License-Identifier: Apache-2.0
#include "shell/moment.h"

#include <charconv>

namespace shell {

namespace {

constexpr time_t minute_s = 60, hour_s = 60 * minute_s, day_s = 24 * hour_s;

time_t unit_of(char letter) {
  switch (letter) {
    case 's':
      return 1;
    case 'm':
      return minute_s;
    case 'h':
      return hour_s;
    case 'd':
      return day_s;
    default:
      return 0;
  }
}

std::optional<int64_t> ago(const std::string &text, time_t now) {
  if (text.size() < 2 || text.size() > 8) return std::nullopt;  // longer numbers are mistakes
  int64_t count = 0;
  const char *last = text.data() + text.size() - 1;
  const auto [end, error] = std::from_chars(text.data(), last, count);
  const time_t unit = unit_of(*last);
  if (error != std::errc() || end != last || unit == 0 || count < 0) return std::nullopt;
  return now - count * unit;
}

// Refuses dates such as 31 February, which mktime() would turn into another day.
std::optional<int64_t> local(tm fields) {
  const tm given = fields;
  fields.tm_isdst = -1;
  const time_t moment = std::mktime(&fields);
  const bool same = fields.tm_mday == given.tm_mday && fields.tm_mon == given.tm_mon &&
                    fields.tm_hour == given.tm_hour && fields.tm_min == given.tm_min;
  return same ? std::optional<int64_t>(moment) : std::nullopt;
}

std::optional<int64_t> today(const std::string &text, time_t now) {
  tm fields = {}, read = {};
  localtime_r(&now, &fields);
  const char *end = strptime(text.c_str(), "%H:%M", &read);
  if (end == nullptr || *end != 0) return std::nullopt;
  fields.tm_hour = read.tm_hour;
  fields.tm_min = read.tm_min;
  fields.tm_sec = 0;
  const std::optional<int64_t> moment = local(fields);
  return moment && *moment > now ? *moment - day_s : moment;
}

}  // namespace

std::optional<int64_t> moment_of(const std::string &text, time_t now) {
  if (const std::optional<int64_t> moment = ago(text, now)) return moment;
  if (const std::optional<int64_t> moment = today(text, now)) return moment;
  for (const char *form : {"%Y-%m-%d", "%Y-%m-%dT%H:%M", "%Y-%m-%dT%H:%M:%S", "%Y:%m:%d:%H:%M"}) {
    tm fields = {};
    const char *end = strptime(text.c_str(), form, &fields);
    if (end != nullptr && *end == 0) return local(fields);
  }
  return std::nullopt;
}

}  // namespace shell
