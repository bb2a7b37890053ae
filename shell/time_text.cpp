// SPDX-License-Identifier: Apache-2.0
#include "shell/time_text.h"

#include <cstdio>
#include <ctime>

#include "host/status.h"
#include "schedcli.h"

namespace shell {

namespace {

constexpr int not_given = -1;
constexpr time_t assumed_start_delay_s = 120;

tm local_now() {
  const time_t now = time(nullptr);
  tm fields = {};
  localtime_r(&now, &fields);
  return fields;
}

std::string printed(const sch_tminfo &time) {
  constexpr std::string_view before = "  time ";
  char buffer[128] = "";
  sch_acfg_print_schedule_type(&time, buffer, sizeof buffer);
  const std::string line = buffer;
  return line.starts_with(before) ? line.substr(before.size(), line.size() - before.size() - 1) : "";
}

bool is_time(int result) {
  return result >= 0 || result == SCH_ERR_TIME_IN_PAST;
}

host::Error refused(const std::string &text) {
  return {host::err_bad_value, "\"" + text + "\" is no such time"};
}

host::Result<std::string> recurring(uint32_t type, const std::string &text) {
  sch_tminfo time = {};
  const tm now = local_now();
  time.hour = not_given;
  if (type != SCH_SCHEDULE_DAILY) time.day_of_week = not_given;
  if (sch_parse_str_to_tminfo(text.c_str(), &time) < 0) return refused(text);
  time.type = type;
  if (time.hour == not_given) time.hour = now.tm_hour;
  if (type == SCH_SCHEDULE_WEEKLY && time.day_of_week == not_given) time.day_of_week = now.tm_wday + 1;
  if (type == SCH_SCHEDULE_MONTHLY) {  // the parser puts the day into day_of_week
    time.day_of_month = time.day_of_week == not_given ? now.tm_mday : time.day_of_week;
    time.day_of_week = 0;
  }
  if (!is_time(sch_verify_tminfo(&time))) return refused(text);
  return printed(time);
}

host::Result<std::string> once(const std::string &text) {
  sch_tminfo time = {};
  const tm now = local_now();
  if (!is_time(get_start_time(text.c_str(), &time, &now))) return refused(text);
  return printed(time);
}

std::string assumed_start() {
  const time_t start = time(nullptr) + assumed_start_delay_s;
  tm fields = {};
  char text[64];
  localtime_r(&start, &fields);
  return {text, std::strftime(text, sizeof text, "start %Y:%m:%d:%H:%M", &fields)};
}

host::Result<std::string> period(const std::string &text) {
  sch_tminfo time = {};
  if (sch_parse_str_to_tminfo(text.c_str(), &time) < 0) return refused(text);
  return " repeat " + std::to_string(time.day_of_week) + ":" + std::to_string(time.hour) + ":" +
         std::to_string(time.minute);
}

}  // namespace

host::Result<std::string> time_text(const std::string &subject, const Match &match) {
  const std::string &first = match.arguments.front().value;
  if (subject == "time daily") return recurring(SCH_SCHEDULE_DAILY, first);
  if (subject == "time weekly") return recurring(SCH_SCHEDULE_WEEKLY, first);
  if (subject == "time monthly") return recurring(SCH_SCHEDULE_MONTHLY, first);
  const std::string *repeat = match.value("period");
  host::Result<std::string> start = match.value("start") == nullptr ? assumed_start() : once(first);
  if (!start || repeat == nullptr) return start;
  const host::Result<std::string> repeated = period(*repeat);
  if (!repeated) return repeated.error();
  return *start + *repeated;
}

}  // namespace shell
