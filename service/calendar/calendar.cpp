// SPDX-License-Identifier: Apache-2.0
#include "service/calendar/calendar.h"

#include <algorithm>
#include <chrono>

namespace service {
namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month;
using std::chrono::year_month_day;

constexpr int64_t seconds_of_day = 86400;
constexpr int64_t end_of_range = int64_t{std::numeric_limits<uint32_t>::max()} + 1;

bool within(int value, int lowest, int highest) {
  return value >= lowest && value <= highest;
}

bool time_of_day_valid(const sch_tminfo &time) {
  return within(time.hour, 0, 23) && within(time.minute, 0, 59);
}

WallTime wall_time(sys_days day, const sch_tminfo &time) {
  return {day.time_since_epoch().count() * seconds_of_day + time.hour * 3600 + time.minute * 60};
}

sys_days day_of(WallTime wall) {
  return std::chrono::floor<days>(std::chrono::sys_seconds(std::chrono::seconds(wall.seconds)));
}

std::optional<uint32_t> in_range(int64_t moment) {
  if (moment <= 0 || moment >= end_of_range) return std::nullopt;
  return static_cast<uint32_t>(moment);
}

struct Search {
  const sch_tminfo &time;
  int64_t after;
  const Zone &zone;
  WallTime taken;

  // Starts a day early: a due time on the day before may fall into a gap of the wall clock that ends on this day.
  sys_days first_day() const { return std::max(day_of(zone.wall_at(after)) - days(1), day_of(taken)); }

  // The first due time on `day` or a later one; `next` gives the day to try after a day.
  template <typename Next>
  std::optional<uint32_t> from(sys_days day, Next next) const {
    for (;; day = next(day)) {
      const WallTime wall = wall_time(day, time);
      const int64_t moment = zone.moment_of(wall);
      if (moment >= end_of_range) return std::nullopt;
      if (wall > taken && moment > after) return in_range(moment);
    }
  }
};

std::optional<uint32_t> next_daily(const Search &search) {
  return search.from(search.first_day(), [](sys_days day) { return day + days(1); });
}

std::optional<uint32_t> next_weekly(const Search &search) {
  if (!within(search.time.day_of_week, 1, 7)) return std::nullopt;
  const std::chrono::weekday wanted(static_cast<unsigned>(search.time.day_of_week - 1));
  const sys_days first = search.first_day();
  return search.from(first + (wanted - std::chrono::weekday(first)), [](sys_days day) { return day + days(7); });
}

sys_days day_in(year_month month, int day) {
  const year_month_day last(month / std::chrono::last);
  return month / std::min(std::chrono::day(static_cast<unsigned>(day)), last.day());
}

std::optional<uint32_t> next_monthly(const Search &search) {
  const int day = search.time.day_of_month;
  if (!within(day, 1, 31)) return std::nullopt;
  const auto month_of = [](sys_days date) {
    const year_month_day parts(date);
    return parts.year() / parts.month();
  };
  return search.from(day_in(month_of(search.first_day()), day),
                     [&](sys_days date) { return day_in(month_of(date) + std::chrono::months(1), day); });
}

std::optional<uint32_t> only_once(const Search &search) {
  constexpr int epoch_year = 1900, last_year = 2106;
  const sch_tminfo &time = search.time;
  if (!within(time.year, 0, last_year - epoch_year) || !within(time.month, 0, 11) || !within(time.day_of_month, 1, 31))
    return std::nullopt;
  const year_month_day date = std::chrono::year(time.year + epoch_year) /
                              std::chrono::month(static_cast<unsigned>(time.month + 1)) /
                              std::chrono::day(static_cast<unsigned>(time.day_of_month));
  if (!date.ok()) return std::nullopt;
  const WallTime wall = wall_time(date, time);
  const int64_t moment = search.zone.moment_of(wall);
  return wall > search.taken && moment > search.after ? in_range(moment) : std::nullopt;
}

// last_run is written by the service, so it is read as unsigned, like all of the service's times; after a step of the
// clock it may be before start_time. start_time is written by the library, as a signed number.
std::optional<uint32_t> next_slot(const sch_tminfo &time, int64_t after) {
  const int64_t period = period_of(time), last_run = static_cast<uint32_t>(time.last_run);
  if (period <= 0) return std::nullopt;
  const int64_t first = last_run != 0 ? last_run + period : time.start_time;
  return in_range(first > after ? first : first + ((after - first) / period + 1) * period);
}

}  // namespace

int64_t period_of(const sch_tminfo &time) {
  return int64_t{time.day_of_week} * seconds_of_day + int64_t{time.hour} * 3600 + int64_t{time.minute} * 60;
}

bool counts_elapsed_time(const sch_tminfo &time) {
  return time.type == SCH_SCHEDULE_PERIODIC;
}

std::optional<uint32_t> next_due(const sch_tminfo &time, time_t after, const Zone &zone, WallTime taken) {
  if (counts_elapsed_time(time)) return next_slot(time, after);
  if (!time_of_day_valid(time)) return std::nullopt;
  const Search search = {time, after, zone, taken};
  switch (time.type) {
    case SCH_SCHEDULE_ONESHOT:
      return only_once(search);
    case SCH_SCHEDULE_DAILY:
      return next_daily(search);
    case SCH_SCHEDULE_WEEKLY:
      return next_weekly(search);
    case SCH_SCHEDULE_MONTHLY:
      return next_monthly(search);
    default:
      return std::nullopt;
  }
}

}  // namespace service
