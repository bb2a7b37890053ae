// SPDX-License-Identifier: Apache-2.0
// The next due times of any schedule in several zones: ascending, none before its moment, none missing between two,
// each at the time of day that is asked for or at the end of a gap, and of a time that comes twice the first.
#include <array>
#include <vector>

#include "fuzz/input.h"
#include "service/calendar/calendar.h"

namespace {

using service::Zone;

const std::vector<Zone> &zones() {
  static const std::vector<Zone> all = [] {
    std::vector<Zone> loaded(1);
    for (const char *rule :
         {"CET-1CEST,M3.5.0,M10.5.0/3", "NST3:30NDT,M3.2.0,M11.1.0", "LHST-10:30LHDT-11,M10.1.0,M4.1.0", "LINT-14",
          "YYY12ZZZ,J60/0,J300/0", "AAA-2BBB,M3.5.0/-1,M10.5.0/25"})
      if (const auto zone = Zone::load(rule)) loaded.push_back(*zone);
    return loaded;
  }();
  return all;
}

void check(const sch_tminfo &time, time_t after, const Zone &zone) {
  const auto due = service::next_due(time, after, zone);
  if (!due) return;
  const auto moment = static_cast<time_t>(*due);
  fuzz::require(moment > after, "a due time is behind its moment");
  fuzz::require(service::next_due(time, after + (moment - after) / 2, zone) == due, "none is missing before it");
  fuzz::require(service::next_due(time, moment - 1, zone) == due, "it is due until it comes");
  const auto next = service::next_due(time, moment, zone);
  fuzz::require(!next || *next > *due, "the next is later");
  if (service::counts_elapsed_time(time))
    return fuzz::require(!next || *next - *due == service::period_of(time), "period");
  const service::WallTime wall = zone.wall_at(moment);
  const bool ends_gap = zone.offset_at(moment) > zone.offset_at(moment - 1);
  const bool as_asked = ((wall.seconds % 86400) + 86400) % 86400 == time.hour * 3600 + time.minute * 60;
  fuzz::require(as_asked || ends_gap, "the time of day is the one asked for");
  fuzz::require(!as_asked || zone.moment_of(wall) == moment, "of a time that comes twice the first");
  const auto taken = service::next_due(time, after, zone, wall);
  fuzz::require(!taken || *taken > *due, "what was taken is not due again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Input input(data, size);
  const Zone &zone = zones()[input.byte() % zones().size()];
  sch_tminfo time = {};
  const uint8_t form = input.byte();
  time.type = form % 8;
  const bool small = (form & 8) != 0;  // numbers of one byte, so that most are in their ranges
  for (int32_t *field : {&time.hour, &time.day_of_week, &time.day_of_month, &time.minute, &time.month, &time.year})
    *field = static_cast<int32_t>(small ? input.byte() : input.number());
  time.start_time = static_cast<int32_t>(input.number());
  time.last_run = static_cast<int32_t>(input.number());
  const time_t after = static_cast<time_t>(input.number());
  check(time, after, zone);
  check(time, after - 1, zone);
  return 0;
}
