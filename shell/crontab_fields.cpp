// SPDX-License-Identifier: Apache-2.0
#include "shell/crontab_fields.h"

#include <strings.h>
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <set>

#include "host/status.h"

namespace shell {

namespace {

struct FieldKind {
  const char *name;
  int first, last;
  const char *names;  // of three letters each, for the values from the first on; null: only numbers
};

constexpr FieldKind minute_kind = {"minute", 0, 59, nullptr};
constexpr FieldKind hour_kind = {"hour", 0, 23, nullptr};
constexpr FieldKind day_kind = {"day of the month", 1, 31, nullptr};
constexpr FieldKind month_kind = {"month", 1, 12, "janfebmaraprmayjunjulaugsepoctnovdec"};
constexpr FieldKind weekday_kind = {"day of the week", 0, 7, "sunmontuewedthufrisat"};

// A line that needs more schedules is left out, as they would crowd the operator's listing.
constexpr size_t schedules_of_a_line = 24;

host::Error wrong(const FieldKind &kind, const std::string &text) {
  return {host::err_bad_value, "\"" + text + "\" is no " + kind.name};
}

std::optional<int> value_of(const FieldKind &kind, const std::string &text) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc() && end == text.data() + text.size())
    return value >= kind.first && value <= kind.last ? std::optional(value) : std::nullopt;
  if (kind.names == nullptr || text.size() != 3) return std::nullopt;
  for (int i = 0; kind.names[3 * i] != 0; i++)
    if (strncasecmp(kind.names + 3 * i, text.c_str(), 3) == 0) return kind.first + i;
  return std::nullopt;
}

// Parses "*", "5" or "1-5", each optionally with a step such as "/2".
bool add_range(const FieldKind &kind, const std::string &text, std::set<int> *values) {
  const size_t slash = text.find('/');
  std::string range = text.substr(0, slash);
  int step = 1;
  if (slash != std::string::npos) {
    const std::string given = text.substr(slash + 1);
    const auto [end, error] = std::from_chars(given.data(), given.data() + given.size(), step);
    if (error != std::errc() || end != given.data() + given.size() || step < 1) return false;
  }
  std::optional<int> first = kind.first, last = kind.last;
  if (range != "*") {
    const size_t dash = range.find('-');
    first = value_of(kind, range.substr(0, dash));
    last = dash != std::string::npos    ? value_of(kind, range.substr(dash + 1))
           : slash != std::string::npos ? last
                                        : first;
  }
  if (!first || !last || *first > *last) return false;
  for (int value = *first; value <= *last; value += step)
    values->insert(&kind == &weekday_kind ? value % 7 : value);
  return true;
}

host::Result<CrontabField> read_field(const FieldKind &kind, const std::string &text) {
  CrontabField field;
  field.any = text == "*";
  std::set<int> values;
  for (size_t at = 0; at <= text.size();) {
    const size_t comma = std::min(text.find(',', at), text.size());
    if (!add_range(kind, text.substr(at, comma - at), &values)) return wrong(kind, text);
    at = comma + 1;
  }
  field.values.assign(values.begin(), values.end());
  const size_t all = &kind == &weekday_kind ? 7 : static_cast<size_t>(kind.last - kind.first + 1);
  field.any = field.any || field.values.size() == all;
  return field;
}

template <typename... Numbers>
std::string formatted(const char *form, Numbers... numbers) {
  char buffer[80];
  std::snprintf(buffer, sizeof buffer, form, numbers...);
  return buffer;
}

host::Error left_out(const std::string &why, const std::string &nearest) {
  return {host::err_bad_value, why + "; nearest: " + nearest};
}

// The distance between successive minutes, including that from the last to the next hour's first; 0 if they differ.
int step_of(const std::vector<int> &minutes) {
  const int step = minutes.size() > 1 ? minutes[1] - minutes[0] : 60;
  for (size_t i = 0; i < minutes.size(); i++) {
    const int next = i + 1 < minutes.size() ? minutes[i + 1] : minutes[0] + 60;
    if (next - minutes[i] != step) return 0;
  }
  return step;
}

std::string period(int first_minute, int minutes) {
  // Any start in the past serves; in almost all zones its season does not matter, as clocks change by whole hours.
  return formatted("start 2026:01:01:00:%02d repeat %d:%d:%d", first_minute, 0, minutes / 60, minutes % 60);
}

host::Result<std::vector<std::string>> through_the_day(const CrontabTime &time) {
  const int step = step_of(time.minute.values);
  if (step != 0) return std::vector<std::string>{period(time.minute.values.front(), step)};
  std::vector<std::string> times;
  for (const int minute : time.minute.values)
    times.push_back(period(minute, 60));
  if (times.size() > schedules_of_a_line)
    return left_out("it would need " + std::to_string(times.size()) + " schedules", "time repeat 0:0:1");
  return times;
}

std::vector<std::string> on_days(const CrontabTime &time, int hour, int minute) {
  std::vector<std::string> times;
  if (time.day.any && time.weekday.any) times.push_back(formatted("daily %02d:%02d", hour, minute));
  if (!time.weekday.any)
    for (const int day : time.weekday.values)
      times.push_back(formatted("weekly %02d:%02d:%02d", day + 1, hour, minute));
  if (!time.day.any)
    for (const int day : time.day.values)
      times.push_back(formatted("monthly %02d:%02d:%02d", day, hour, minute));
  return times;
}

std::string nearest_of(const CrontabTime &time) {
  return "time " + on_days(time, time.hour.values.front(), time.minute.values.front()).front();
}

}  // namespace

host::Result<CrontabTime> read_crontab_time(const std::vector<std::string> &fields) {
  constexpr const FieldKind *kinds[] = {&minute_kind, &hour_kind, &day_kind, &month_kind, &weekday_kind};
  CrontabTime time;
  CrontabField *const parts[] = {&time.minute, &time.hour, &time.day, &time.month, &time.weekday};
  for (size_t i = 0; i < std::size(kinds); i++) {
    host::Result<CrontabField> field = read_field(*kinds[i], fields[i]);
    if (!field) return field.error();
    *parts[i] = std::move(*field);
  }
  return time;
}

host::Result<CrontabTime> read_crontab_name(const std::string &name) {
  struct Named {
    const char *name;
    std::vector<std::string> fields;
  };
  static const Named named[] = {
      {"@hourly", {"0", "*", "*", "*", "*"}},   {"@daily", {"0", "0", "*", "*", "*"}},
      {"@midnight", {"0", "0", "*", "*", "*"}}, {"@weekly", {"0", "0", "*", "*", "0"}},
      {"@monthly", {"0", "0", "1", "*", "*"}},  {"@yearly", {"0", "0", "1", "1", "*"}},
      {"@annually", {"0", "0", "1", "1", "*"}},
  };
  for (const Named &known : named)
    if (name == known.name) return read_crontab_time(known.fields);
  if (name == "@reboot")
    return left_out("a schedule has times, and the start of the machine is none", "a unit of the system manager");
  return host::Error{host::err_bad_value, "\"" + name + "\" is no time"};
}

host::Result<std::vector<std::string>> schedule_times(const CrontabTime &time) {
  if (!time.month.any)
    return left_out("a schedule cannot be for some months alone",
                    nearest_of(time) + ", and a first line that ends the job in the other months");
  if (!time.day.any && !time.weekday.any)
    return left_out("it is due on days of the month and on days of the week, and once on a day that is both",
                    nearest_of(time) + " and a second schedule, which run twice on such a day");
  if (!time.day.any && time.day.values.back() > 28)
    return left_out("in a month without day " + std::to_string(time.day.values.back()) +
                        " it is not due, and a monthly schedule is on the last day",
                    nearest_of(time));
  if (time.hour.any && time.day.any && time.weekday.any) return through_the_day(time);
  std::vector<std::string> times;
  for (const int hour : time.hour.values)
    for (const int minute : time.minute.values)
      for (std::string &one : on_days(time, hour, minute))
        times.push_back(std::move(one));
  if (times.size() <= schedules_of_a_line) return times;
  return left_out("it would need " + std::to_string(times.size()) + " schedules",
                  "time repeat, and a first line that ends the job at the other times");
}

}  // namespace shell
