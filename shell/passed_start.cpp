// SPDX-License-Identifier: Apache-2.0
#include "shell/passed_start.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "control/one_shot.h"
#include "schedcli_requests.h"
#include "shell/session.h"
#include "shell/show_request.h"

namespace shell {

namespace {

constexpr int32_t shortest_period_s = 60;
constexpr time_t margin_s = 5;  // so that the new start is still in the future when the service gets it

// Whether the start has the full form of saved configurations, "yyyy:mmm:dd:HH:MM".
bool is_written_out(const std::string &start) {
  return !start.starts_with('+') && std::count(start.begin(), start.end(), ':') == 4;
}

std::string line_of(const sch_tminfo &time) {
  char line[96] = "";
  sch_acfg_print_schedule_type(&time, line, sizeof line);
  return line;
}

// The schedule's time line as the service shows it; empty if it has none or the service does not answer.
std::string line_in_use(const Session &session) {
  const host::Result<host::Bytes> reply =
      show_by_name(session.options().identity, SCH_OP_SHOW_SCHEDULE, session.schedule());
  sch_show_schedule_reply shown = {};
  if (!reply || reply->size() < sizeof shown) return {};
  std::memcpy(&shown, reply->data(), sizeof shown);
  return line_of(shown.time);
}

struct Start {
  sch_tminfo once = {};
  time_t moment = 0;
};

// Not by the library, whose time_t on 32 bits is another than ours.
time_t start_moment_of(const sch_tminfo &time) {
  tm fields = control::wall_clock_of(time);
  return std::mktime(&fields);
}

std::optional<Start> passed(const std::string &text, time_t now) {
  tm calendar = {};
  localtime_r(&now, &calendar);
  Start start;
  if (!is_written_out(text) || get_start_time(text.c_str(), &start.once, &calendar) != SCH_ERR_TIME_IN_PAST)
    return std::nullopt;
  start.moment = start_moment_of(start.once);
  start.once.type = SCH_SCHEDULE_ONESHOT;
  return start;
}

std::optional<sch_tminfo> periodic(const std::string &period, time_t start) {
  sch_tminfo time = {};
  if (sch_parse_str_to_tminfo(period.c_str(), &time) < 0) return std::nullopt;
  time.type = SCH_SCHEDULE_PERIODIC;
  time.start_time = static_cast<int32_t>(start);
  return time;
}

std::string written_out(time_t moment) {
  tm calendar = {};
  localtime_r(&moment, &calendar);
  char text[64];
  std::snprintf(text, sizeof text, "%d:%02d:%02d:%02d:%02d", calendar.tm_year + 1900, calendar.tm_mon + 1,
                calendar.tm_mday, calendar.tm_hour, calendar.tm_min);
  return text;
}

StartCheck check_periodic(const Session &session, const Match &match, const Start &start, time_t now) {
  StartCheck check{match, false, std::nullopt};
  const std::optional<sch_tminfo> time = periodic(*match.value("period"), start.moment);
  int32_t period_s = 0;
  if (time) sch_compute_delta(&*time, &period_s);
  if (period_s < shortest_period_s) return check;  // invalid: the handler reports it
  if (line_of(*time) == line_in_use(session)) return {match, true, std::nullopt};
  std::string &text = check.match.arguments.front().value;
  const std::string later = written_out(moved_on(start.moment, period_s, now));
  check.note =
      "schedule " + session.schedule() + ": the start " + text + " has passed; by whole periods it is " + later;
  text = later;
  return check;
}

// A one-shot start cannot be moved on. If it was typed, the handler reports that it has passed. In a saved
// configuration, which has the line in the schedule's block, it is noted and skipped, so that the rest is read.
StartCheck check_once(const Session &session, const Match &match, const Start &start) {
  if (line_of(start.once) == line_in_use(session)) return {match, true, std::nullopt};
  if (session.options().interactive || !session.line().starts_with("  ")) return {match, false, std::nullopt};
  return {match, true,
          "schedule " + session.schedule() + ": its time " + *match.value("start") +
              " has passed, so it gets none and does not run"};
}

}  // namespace

time_t moved_on(time_t start, int32_t period_s, time_t now) {
  const time_t earliest = now + margin_s;
  if (start > earliest) return start;
  return start + ((earliest - start) / period_s + 1) * period_s;
}

StartCheck check_start(const Session &session, const Match &match) {
  const std::string *text = match.value("start");
  const time_t now = time(nullptr);
  const std::optional<Start> start = text != nullptr ? passed(*text, now) : std::nullopt;
  if (!start) return {match, false, std::nullopt};
  return match.value("period") != nullptr ? check_periodic(session, match, *start, now)
                                          : check_once(session, match, *start);
}

}  // namespace shell
