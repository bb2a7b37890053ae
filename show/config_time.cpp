// SPDX-License-Identifier: Apache-2.0
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "acfg/start_fields.h"
#include "schedcli.h"

namespace {

// Only so much of each piece goes into a caller's buffer, as the public header says: callers rely on it.
constexpr size_t piece_limit_in_buffer = 4;

class Pieces {
 public:
  explicit Pieces(char *buffer) : buffer_(buffer) {}

  [[gnu::format(printf, 2, 3)]] void add(const char *format, ...) const {
    char piece[96];  // the longest has seven numbers
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(piece, sizeof piece, format, arguments);
    va_end(arguments);
    if (buffer_ == nullptr) {
      std::fputs(piece, stdout);
    } else {
      append(piece);
    }
  }

 private:
  void append(const char *piece) const {
    const size_t length = strnlen(piece, piece_limit_in_buffer);
    char *end = buffer_ + std::strlen(buffer_);
    std::memcpy(end, piece, length);
    end[length] = '\0';
  }

  char *buffer_;
};

void add_hour_and_minute(const Pieces &pieces, const sch_tminfo &time) {
  if (time.hour >= 0) pieces.add("%02d:", time.hour);
  pieces.add("%02d\n", time.minute);
}

void add_day(const Pieces &pieces, int32_t day) {
  if (day >= 1) pieces.add("%02d:", day);
}

void add_repeat(const Pieces &pieces, const sch_tminfo &time) {
  const acfg::StartFields start = acfg::start_of_periodic(time);
  pieces.add("time start %d:%02d:%02d:%02d:%02d repeat ", start.year, start.month, start.day, start.hour, start.minute);
  const int32_t days = time.day_of_week;
  if (days > 0) pieces.add("%d:", days);
  if (time.hour >= 1 || days >= 1) pieces.add("%d:", time.hour);
  pieces.add("%d\n", time.minute);
}

void add_start(const Pieces &pieces, const sch_tminfo &time) {
  const acfg::StartFields start = acfg::start_of_one_shot(time);
  pieces.add("time start %d:%02d:%02d:%02d:%02d\n", start.year, start.month, start.day, start.hour, start.minute);
}

}  // namespace

// Unset leading fields are left out, where the generated configuration text prints them as 0.
void print_config_schedule_type(const sch_tminfo *time_info, char *buffer) {
  const Pieces pieces(buffer);
  switch (time_info->type) {
    case SCH_SCHEDULE_ONESHOT:
      return add_start(pieces, *time_info);
    case SCH_SCHEDULE_DAILY:
      pieces.add("time daily ");
      return add_hour_and_minute(pieces, *time_info);
    case SCH_SCHEDULE_WEEKLY:
      pieces.add("time weekly ");
      add_day(pieces, time_info->day_of_week);
      return add_hour_and_minute(pieces, *time_info);
    case SCH_SCHEDULE_MONTHLY:
      pieces.add("time monthly ");
      add_day(pieces, time_info->day_of_month);
      return add_hour_and_minute(pieces, *time_info);
    case SCH_SCHEDULE_PERIODIC:
      return add_repeat(pieces, *time_info);
    default:
      return;  // no line, not even its end
  }
}
