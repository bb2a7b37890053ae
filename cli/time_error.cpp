// SPDX-License-Identifier: Apache-2.0
// What was wrong with a time text, and what it should have been.
#include <cstdio>

#include "schedcli.h"

namespace {

constexpr char oneshot_form[] = "Should be yyyy:mmm:dd:HH:MM or +dd:HH:MM\n";
constexpr char hour_range[] = "    HH = {0..23}\n";
constexpr char minute_range[] = "    MM = {0..59}\n";

struct Hint {
  uint32_t schedule_type;
  const char *lines[4];  // null behind the last
};

constexpr Hint format_hints[] = {
    {SCH_SCHEDULE_ONESHOT, {oneshot_form}},
    {SCH_SCHEDULE_DAILY, {"Should be HH:MM\n"}},
    {SCH_SCHEDULE_WEEKLY, {"Should be dow:HH:MM\n"}},
    {SCH_SCHEDULE_MONTHLY, {"Should be dm:HH:MM\n"}},
    {SCH_SCHEDULE_PERIODIC, {"Should be dd:HH:MM\n"}},
};

// Meant as it stands: no full stop in the monthly form, and only the month's range in the one-shot form.
constexpr Hint range_hints[] = {
    {SCH_SCHEDULE_ONESHOT, {oneshot_form, "    mmm = {1..12} or Jan, Feb...Dec\n"}},
    {SCH_SCHEDULE_DAILY, {"Should be HH:MM.\n", hour_range, minute_range}},
    {SCH_SCHEDULE_WEEKLY,
     {"Should be dow:HH:MM.\n", "    dow = {1..7} or Sun,Mon ... Sat\n", hour_range, minute_range}},
    {SCH_SCHEDULE_MONTHLY, {"Should be dm:HH:MM\n", "    dm = {1..31}\n", hour_range, minute_range}},
    {SCH_SCHEDULE_PERIODIC, {"Should be dd:HH:MM.\n", "    dd,HH,MM = {1..99}\n"}},
};

template <size_t Count>
const Hint *find_hint(const Hint (&hints)[Count], uint32_t schedule_type) {
  for (const Hint &hint : hints) {
    if (hint.schedule_type == schedule_type) return &hint;
  }
  return nullptr;
}

int write_text(const char *text) {
  return std::fprintf(stderr, "%s", text);
}

int write_lines(const Hint &hint) {
  int written = 0;
  for (const char *line : hint.lines) {
    if (line != nullptr) written = write_text(line);
  }
  return written;
}

int explain_format(uint32_t schedule_type) {
  write_text("Incorrect time format. ");
  const Hint *hint = find_hint(format_hints, schedule_type);
  if (hint != nullptr) return write_lines(*hint);
  return std::fprintf(stderr, "Error %d. Format unknown\n", static_cast<int>(SCH_STATUS_BAD_TIME_FORMAT));
}

int explain_range(uint32_t schedule_type) {
  write_text("Value out of range\n");
  const Hint *hint = find_hint(range_hints, schedule_type);
  if (hint != nullptr) return write_lines(*hint);
  return std::fprintf(stderr, "Error %d. Format unknown.\n", static_cast<int>(SCH_STATUS_TIME_OUT_OF_RANGE));
}

}  // namespace

int sch_cli_disp_error(uint32_t code, uint32_t schedule_type) {
  switch (code) {
    case SCH_STATUS_TIME_IN_PAST:
      return write_text("Specified time is in the past\n");
    case SCH_STATUS_BAD_TIME_FORMAT:
    case SCH_STATUS_BAD_TIME_FORMAT_2:  // reported as the first
      return explain_format(schedule_type);
    case SCH_STATUS_TIME_OUT_OF_RANGE:
      return explain_range(schedule_type);
    default:
      return std::fprintf(stderr, "Error %d.\n", static_cast<int>(code));
  }
}
