// SPDX-License-Identifier: Apache-2.0
// Reads an operator's time text, field by field from the right.
#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>

#include "db/text_field.h"
#include "diag/trace.h"
#include "schedcli.h"

namespace {

constexpr int name_matched = 99;
constexpr int number_read = 1;
constexpr int malformed_text = -1;
constexpr int unreadable_field = -2;
constexpr size_t name_prefix = 3;   // "Mon" and "monday" are the same day
constexpr size_t text_length = 17;  // of the longest form, yyyy:mmm:dd:HH:MM; what follows is cut

constexpr const char *day_names[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char *month_names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// Signs before and anything behind the digits are accepted on purpose. Read as a wide number and held at the limits,
// so that a huge value is out of range on every machine instead of wrapping into the range.
int read_number(const char *text, int *out) {
  long long value = 0;
  const int result = std::sscanf(text, "%lld", &value);
  if (result == number_read) {
    constexpr long long lowest = std::numeric_limits<int>::min();
    constexpr long long highest = std::numeric_limits<int>::max();
    *out = static_cast<int>(std::clamp(value, lowest, highest));
  }
  return result;
}

template <size_t Count>
std::optional<int> name_or_number(const char *text, const char *const (&names)[Count]) {
  int value = 0;
  const int result = get_val(text, names, static_cast<int>(Count), &value);
  if (result != number_read && result != name_matched) return std::nullopt;
  return value;
}

struct Field {
  const char *text;
  bool leftmost;
};

// Cuts the last field off `rest`; the only field left is the leftmost one.
Field cut_last_field(char *rest) {
  char *colon = std::strrchr(rest, ':');
  if (colon == nullptr) return {rest, true};
  *colon = '\0';
  return {colon + 1, false};
}

int parse_year(const char *rest, sch_tminfo *record) {
  if (std::strchr(rest, ':') != nullptr) return malformed_text;
  SCH_TRACE_CLI("year %s", rest);
  if (read_number(rest, &record->year) != number_read) return unreadable_field;
  SCH_TRACE_CLI("- year retrieved");
  return 0;
}

int parse_month(char *rest, int day, sch_tminfo *record) {
  const Field field = cut_last_field(rest);
  if (!field.leftmost) SCH_TRACE_CLI("month %s", field.text);
  const std::optional<int> month = name_or_number(field.text, month_names);
  if (!month) return unreadable_field;
  record->day_of_month = day;
  record->month = *month;
  if (field.leftmost) {
    SCH_TRACE_CLI("- month retrieved");
    return 0;
  }
  SCH_TRACE_CLI("month retrieved");
  return parse_year(rest, record);
}

// A leftmost day is kept as day of week, whatever it means to the schedule's type: the caller moves it.
int parse_day(char *rest, sch_tminfo *record) {
  const Field field = cut_last_field(rest);
  SCH_TRACE_CLI("dw/dm %s", field.text);
  const std::optional<int> day = name_or_number(field.text, day_names);
  if (!day) return unreadable_field;
  if (field.leftmost) {
    record->day_of_week = *day;
    SCH_TRACE_CLI("- day retrieved");
    return 0;
  }
  SCH_TRACE_CLI("day retrieved");
  return parse_month(rest, *day, record);
}

int parse_hour(char *rest, sch_tminfo *record) {
  const Field field = cut_last_field(rest);
  SCH_TRACE_CLI("hour str %s", field.text);
  if (read_number(field.text, &record->hour) != number_read) return unreadable_field;
  if (field.leftmost) {
    SCH_TRACE_CLI("- hour retrieved");
    return 0;
  }
  SCH_TRACE_CLI("hour retrieved");
  return parse_day(rest, record);
}

int parse_minute(char *rest, sch_tminfo *record) {
  const Field field = cut_last_field(rest);
  if (!field.leftmost) SCH_TRACE_CLI("minute str %s", field.text);
  if (read_number(field.text, &record->minute) != number_read) return unreadable_field;
  if (field.leftmost) {
    SCH_TRACE_CLI("- minute retrieved");
    return 0;
  }
  SCH_TRACE_CLI("minute retrieved");
  return parse_hour(rest, record);
}

}  // namespace

int get_val(const char *text, const char *const *names, int count, int *out) {
  for (int index = 0; index < count; ++index) {
    if (strncasecmp(text, names[index], name_prefix) == 0) {
      *out = index + 1;
      return name_matched;
    }
  }
  return read_number(text, out);
}

int sch_parse_str_to_tminfo(const char *text, sch_tminfo *record) {
  char work[text_length + 1];
  copy_text(work, text);
  if (work[0] == ':') return malformed_text;
  SCH_TRACE_CLI("parse str %s", work);
  return parse_minute(work, record);
}

void print_tminfo(const sch_tminfo *record) {
  SCH_TRACE_CLI("schedule type: %d", static_cast<int>(record->type));
  SCH_TRACE_CLI("year         : %d", record->year);
  SCH_TRACE_CLI("month        : %d", record->month);
  SCH_TRACE_CLI("day of month : %d", record->day_of_month);
  SCH_TRACE_CLI("day of week  : %d", record->day_of_week);
  SCH_TRACE_CLI("hour         : %d", record->hour);
  SCH_TRACE_CLI("minute       : %d", record->minute);
  SCH_TRACE_CLI("start time   : %d", record->start_time);
}
