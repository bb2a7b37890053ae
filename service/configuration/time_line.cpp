// SPDX-License-Identifier: Apache-2.0
#include "service/configuration/time_line.h"

#include <charconv>
#include <ctime>
#include <limits>
#include <optional>
#include <vector>

#include "service/calendar/service_zone.h"

namespace service {
namespace {

constexpr std::string_view line_start = "  time ";
constexpr int64_t shortest_period_s = 60;

host::Error refuse(uint32_t status, std::string_view line) {
  const bool form = status == SCH_STATUS_BAD_TIME_FORMAT;
  return {status, "\"" + std::string(line) + "\" is " + (form ? "no time" : "a time out of range")};
}

std::optional<std::vector<int>> numbers_of(std::string_view text) {
  std::vector<int> numbers;
  const char *at = text.data(), *end = at + text.size();
  for (;;) {
    int number = 0;
    const auto [behind, error] = std::from_chars(at, end, number);
    if (error != std::errc() || *at == '-') return std::nullopt;
    numbers.push_back(number);
    if (behind == end) return numbers;
    if (*behind != ':') return std::nullopt;
    at = behind + 1;
  }
}

// Removes the first word from *rest and returns it.
std::string_view take_field(std::string_view *rest) {
  const std::string_view word = rest->substr(0, rest->find(' '));
  rest->remove_prefix(std::min(word.size() + 1, rest->size()));
  return word;
}

bool read_recurring(std::string_view form, const std::vector<int> &fields, sch_tminfo *time) {
  const bool is_daily = form == "daily";
  time->type = is_daily ? SCH_SCHEDULE_DAILY : form == "weekly" ? SCH_SCHEDULE_WEEKLY : SCH_SCHEDULE_MONTHLY;
  if (fields.size() != (is_daily ? 2u : 3u)) return false;
  if (time->type == SCH_SCHEDULE_WEEKLY) time->day_of_week = fields.front();
  if (time->type == SCH_SCHEDULE_MONTHLY) time->day_of_month = fields.front();
  time->hour = fields[fields.size() - 2];
  time->minute = fields.back();
  return true;
}

bool is_calendar_day(const std::vector<int> &start) {
  const bool ranges = start[0] >= 1970 && start[0] <= 2105 && start[1] >= 1 && start[1] <= 12 && start[2] >= 1 &&
                      start[3] <= 23 && start[4] <= 59;
  return ranges && start[2] <= normalize_day_of_month(start[0] - 1900, start[1] - 1, 31);
}

time_t moment_of(const std::vector<int> &start) {
  tm fields = {};
  fields.tm_year = start[0] - 1900;
  fields.tm_mon = start[1] - 1;
  fields.tm_mday = start[2];
  fields.tm_hour = start[3];
  fields.tm_min = start[4];
  return service_zone().moment_of({timegm(&fields)});
}

void set_once(const std::vector<int> &start, sch_tminfo *time) {
  time->type = SCH_SCHEDULE_ONESHOT;
  time->year = start[0] - 1900;
  time->month = start[1] - 1;
  time->day_of_month = start[2];
  time->hour = start[3];
  time->minute = start[4];
}

// The library computes with 32 bits, so start and period must fit together.
bool set_periodic(time_t start, const std::vector<int> &period, sch_tminfo *time) {
  const int64_t seconds = int64_t{period[0]} * 86400 + int64_t{period[1]} * 3600 + int64_t{period[2]} * 60;
  if (seconds < shortest_period_s || start < 1 || start + seconds > std::numeric_limits<int32_t>::max()) return false;
  time->type = SCH_SCHEDULE_PERIODIC;
  time->day_of_week = period[0];
  time->hour = period[1];
  time->minute = period[2];
  time->start_time = static_cast<int32_t>(start);
  return true;
}

host::Result<sch_tminfo> read_start(std::string_view line, std::string_view rest) {
  sch_tminfo time = {};
  const auto start = numbers_of(take_field(&rest));
  if (!start || start->size() != 5) return refuse(SCH_STATUS_BAD_TIME_FORMAT, line);
  if (!is_calendar_day(*start)) return refuse(SCH_STATUS_TIME_OUT_OF_RANGE, line);
  if (rest.empty()) {
    set_once(*start, &time);
    return time;
  }
  if (take_field(&rest) != "repeat") return refuse(SCH_STATUS_BAD_TIME_FORMAT, line);
  const auto period = numbers_of(rest);
  if (!period || period->size() != 3) return refuse(SCH_STATUS_BAD_TIME_FORMAT, line);
  if (!set_periodic(moment_of(*start), *period, &time)) return refuse(SCH_STATUS_TIME_OUT_OF_RANGE, line);
  return time;
}

}  // namespace

std::string time_line(const sch_tminfo &time) {
  char buffer[128] = "";
  sch_acfg_print_schedule_type(&time, buffer, sizeof buffer);
  std::string line = buffer;
  if (!line.starts_with(line_start)) return {};
  line.erase(0, line_start.size());
  return line.substr(0, line.find('\n'));
}

host::Result<sch_tminfo> read_time_line(std::string_view line) {
  sch_tminfo time = {};
  if (line.empty()) return time;
  std::string_view rest = line;
  const std::string_view form = take_field(&rest);
  if (form == "start") return read_start(line, rest);
  const auto fields = numbers_of(rest);
  const bool known = form == "daily" || form == "weekly" || form == "monthly";
  if (!known || !fields || !read_recurring(form, *fields, &time)) return refuse(SCH_STATUS_BAD_TIME_FORMAT, line);
  if (sch_verify_tminfo(&time) != 0) return refuse(SCH_STATUS_TIME_OUT_OF_RANGE, line);
  return time;
}

}  // namespace service
