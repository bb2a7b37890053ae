// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

namespace shell {

// A moment of the past: "90s", "30m", "6h" or "2d" ago; "HH:MM", the last time the clock showed it; "yyyy-mm-dd" with
// or without "Thh:mm" or "Thh:mm:ss"; "yyyy:mm:dd:HH:MM" as schedules have it. Local time of the process.
std::optional<int64_t> moment_of(const std::string &text, time_t now);

}  // namespace shell
