// SPDX-License-Identifier: Apache-2.0
// Moments as text in the zone that is set, with the zone's abbreviation: "2026-10-25 02:30:00 CEST".
#pragma once

#include <ctime>
#include <string>

#include "schedcli.h"

namespace time_test {

time_t moment(const std::string &text);  // throws for a text that names no moment
std::string text_of(time_t moment);
tm local(time_t moment);

sch_tminfo unset();  // every field holds a value that no operation writes
sch_tminfo daily(int hour, int minute);
sch_tminfo weekly(int day_of_week, int hour, int minute);
sch_tminfo monthly(int day_of_month, int hour, int minute);
sch_tminfo oneshot(int year, int month, int day, int hour, int minute);  // the calendar's year and month
sch_tminfo periodic(int days, int hours, int minutes, time_t start, time_t last_run = 0);

inline constexpr int32_t untouched = 4711;

}  // namespace time_test

bool operator==(const sch_tminfo &left, const sch_tminfo &right);
std::ostream &operator<<(std::ostream &out, const sch_tminfo &record);
