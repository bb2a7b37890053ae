// SPDX-License-Identifier: Apache-2.0
#include "shell/zone.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>

#include "control/operations.h"
#include "host/transport/transport.h"

namespace shell {
namespace {

// The TZ that the shell was started with, used while the service does not answer.
struct OwnZone {
  std::optional<std::string> tz;
  OwnZone() {
    if (const char *given = std::getenv("TZ"); given != nullptr) tz = given;
  }

  int32_t offset_at(time_t now) const {
    if (tz)
      setenv("TZ", tz->c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
    tm calendar = {};
    localtime_r(&now, &calendar);
    return static_cast<int32_t>(calendar.tm_gmtoff);
  }
};

std::optional<int32_t> offset_of_service() {
  const host::Result<host::Bytes> reply = control::ask_service(control::Operation::get_zone);
  int32_t offset = 0;
  if (!reply || reply->size() < sizeof offset) return std::nullopt;
  std::memcpy(&offset, reply->data(), sizeof offset);
  return offset;
}

void live_in(int32_t offset_s) {
  setenv("TZ", fixed_zone(offset_s).c_str(), 1);
  tzset();
}

}  // namespace

// In TZ the offset counts to the west, so its sign differs from that in the zone's name.
std::string fixed_zone(int32_t offset_s) {
  const bool east = offset_s >= 0;
  const int minutes = std::abs(offset_s) / 60, hours = minutes / 60;
  char text[40];
  std::snprintf(text, sizeof text, "<%c%02d%02d>%c%d:%02d:%02d", east ? '+' : '-', hours, minutes % 60,
                east ? '-' : '+', hours, minutes % 60, std::abs(offset_s) % 60);
  return text;
}

void follow_service_zone() {
  static const OwnZone own;
  static time_t asked_at = 0;
  const time_t now = time(nullptr);
  if (now == asked_at) return;
  asked_at = now;
  const std::optional<int32_t> offset = offset_of_service();
  live_in(offset ? *offset : own.offset_at(now));
}

}  // namespace shell
