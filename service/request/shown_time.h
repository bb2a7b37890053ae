// SPDX-License-Identifier: Apache-2.0
// Moments and durations as the tables of runs print them.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace service {

std::string shown_moment(time_t moment);           // "Sat 2026-11-21 12:30:00 +0100", in the service's zone
std::string shown_duration(int64_t milliseconds);  // "0.012s", from a minute on as below
std::string shown_wait(int64_t seconds);           // "42s", "29m 57s", "3h 05m", "2d 04h"; "now" when it is over

}  // namespace service
