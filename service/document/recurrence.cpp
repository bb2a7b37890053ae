// SPDX-License-Identifier: Apache-2.0
#include "service/document/recurrence.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "control/one_shot.h"
#include "service/calendar/service_zone.h"

namespace service {
namespace {

using control::Json;

constexpr const char *weekdays[] = {"sunday", "monday", "tuesday", "wednesday", "thursday", "friday", "saturday"};
constexpr int32_t minutes_an_hour = 60, minutes_a_day = 24 * minutes_an_hour;

std::string time_of_day(const sch_tminfo &time) {
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d", std::clamp(time.hour, 0, 23), std::clamp(time.minute, 0, 59));
  return text;
}

std::string one_shot_moment(const sch_tminfo &time) {
  tm fields = control::wall_clock_of(time);
  return control::json_moment(service_zone().moment_of({timegm(&fields)}));
}

Json at_times(const char *kind, const sch_tminfo &time) {
  Json recurrence;
  recurrence["kind"] = kind;
  recurrence["time-of-day"] = time_of_day(time);
  return recurrence;
}

Json periodic(const sch_tminfo &time) {
  Json recurrence;
  recurrence["kind"] = "periodic";
  recurrence["start"] = control::json_moment(time.start_time);
  // A field that was not given is -1.
  recurrence["period"] = std::max(time.day_of_week, 0) * minutes_a_day + std::max(time.hour, 0) * minutes_an_hour +
                         std::max(time.minute, 0);
  return recurrence;
}

}  // namespace

Json recurrence_of(const sch_tminfo &time) {
  Json recurrence;
  switch (time.type) {
    case SCH_SCHEDULE_ONESHOT:
      recurrence["kind"] = "once";
      recurrence["start"] = one_shot_moment(time);
      return recurrence;
    case SCH_SCHEDULE_DAILY:
      return at_times("daily", time);
    case SCH_SCHEDULE_WEEKLY:
      recurrence = at_times("weekly", time);
      recurrence["weekday"] = weekdays[std::clamp(time.day_of_week, 1, 7) - 1];
      return recurrence;
    case SCH_SCHEDULE_MONTHLY:
      recurrence = at_times("monthly", time);
      recurrence["day-of-month"] = time.day_of_month;
      return recurrence;
    case SCH_SCHEDULE_PERIODIC:
      return periodic(time);
    default:
      return nullptr;
  }
}

void add_recurrence(Json *object, const sch_tminfo &time) {
  if (Json recurrence = recurrence_of(time); !recurrence.is_null()) (*object)["recurrence"] = std::move(recurrence);
}

}  // namespace service
