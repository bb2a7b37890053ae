// SPDX-License-Identifier: Apache-2.0
// When schedules are due.

#include <algorithm>
#include <ctime>
#include <string>
#include <tuple>
#include <vector>

#include "control/operations.h"
#include "host/errors.h"
#include "host/result.h"
#include "host/status.h"
#include "host/text_field.h"
#include "host/visible.h"
#include "service/clock.h"
#include "service/document/answer.h"
#include "service/document/schedule.h"
#include "service/request/answer.h"
#include "service/request/ownership.h"
#include "service/request/payload.h"
#include "service/request/shown.h"
#include "service/request/shown_time.h"
#include "service/request/text_table.h"
#include "service/run/due.h"
#include "service/state/tables.h"

namespace service {
namespace {

constexpr uint32_t usual_schedules = 20, usual_dues = 10;

struct UpcomingAsked {
  uint32_t count;        // 0: the usual number
  std::string schedule;  // empty: all
};

struct Upcoming {
  const sch_schedule_entry *entry;
  uint32_t due;  // 0: disabled
};

bool sooner(const Upcoming &left, const Upcoming &right) {
  const auto rank = [](const Upcoming &one) {
    return std::tuple(one.due == 0, one.due, schedule_number(*one.entry->rec));
  };
  return rank(left) < rank(right);
}

std::vector<Upcoming> soonest(const Call &call, uint32_t count) {
  std::vector<Upcoming> all;
  for (const sch_schedule_entry *entry : own_schedules(call)) {
    const uint32_t due = state_of(*entry->rec).next_due;
    if (due != 0 || !is_enabled(*entry->rec)) all.push_back({entry, due});
  }
  const size_t kept = std::min<size_t>(count == 0 ? usual_schedules : count, all.size());
  std::ranges::partial_sort(all, all.begin() + static_cast<std::ptrdiff_t>(kept), sooner);
  all.resize(kept);
  return all;
}

std::vector<uint32_t> next_dues(const sch_schedule_entry &entry, uint32_t count) {
  return coming_dues(entry, count == 0 ? usual_dues : count);
}

host::Result<UpcomingAsked> upcoming_asked(Payload payload) {
  if (payload.size() < sizeof(control::UpcomingQuery)) return host::error_of(host::err_bad_request);
  const auto query = record_of<control::UpcomingQuery>(payload);
  if (query.count > control::query_lines_limit) return host::error_of(host::err_bad_value);
  return UpcomingAsked{query.count, std::string(text_of(payload.subspan(sizeof query)))};
}

size_t count_of_jobs(const sch_schedule_rec &rec) {
  size_t count = 0;
  for_each_assigned(rec, [&](uint32_t) { count++; });
  return count;
}

std::string owner_name(const sch_schedule_entry &entry) {
  const ScheduleState state = state_of(*entry.rec);
  return host::visible(host::text_in(state.owner));
}

std::string wait_cell(uint32_t due, time_t now) {
  return shown_wait(int64_t{due} - now);
}

TextTable::Row row_of(const Upcoming &one, time_t now) {
  const bool disabled = one.due == 0;
  return {disabled ? "disabled" : shown_moment(one.due), disabled ? "-" : wait_cell(one.due, now),
          name_of(*one.entry->key), std::to_string(count_of_jobs(*one.entry->rec)), owner_name(*one.entry)};
}

std::string note_of_feature() {
  return scheduler_enabled != 0 ? "" : "(the scheduler feature is disabled: nothing runs)\n";
}

std::string text_of_all(const Call &call, uint32_t count) {
  const time_t now = wall_clock();
  TextTable table({"due", "in", "schedule", "jobs", "owner"});
  for (const Upcoming &one : soonest(call, count))
    table.add(row_of(one, now));
  return table.empty() ? "" : note_of_feature() + table.text();
}

std::string job_names(const sch_schedule_rec &rec) {
  std::string names;
  for_each_assigned(rec, [&](uint32_t id) { names += (names.empty() ? "" : ", ") + name_of(*sch_job_list[id].key); });
  return names.empty() ? "none" : names;
}

std::string text_of_one(const sch_schedule_entry &entry, uint32_t count) {
  const time_t now = wall_clock();
  std::string text = "schedule: " + name_of(*entry.key) + "\nowner: " + owner_name(entry) +
                     "\nenabled: " + (is_enabled(*entry.rec) ? "yes" : "no") + "\njobs: " + job_names(*entry.rec) +
                     "\n";
  TextTable table({"due", "in"});
  for (const uint32_t due : next_dues(entry, count))
    table.add({shown_moment(due), wait_cell(due, now)});
  return text + (table.empty() ? "due: never\n" : note_of_feature() + table.text());
}

Json coming_schedule(const Upcoming &coming) {
  Json schedule = schedule_head(*coming.entry);
  schedule["jobs"] = count_of_jobs(*coming.entry->rec);
  return schedule;
}

Json coming_times(const sch_schedule_entry &entry, uint32_t count) {
  Json schedule = schedule_head(entry);
  schedule["job"] = Json::array();
  schedule["due"] = Json::array();
  for_each_assigned(*entry.rec, [&](uint32_t id) { schedule["job"].push_back(name_of(*sch_job_list[id].key)); });
  for (const uint32_t due : next_dues(entry, count))
    schedule["due"].push_back(control::json_moment(due));
  return schedule;
}

}  // namespace

host::Answer show_upcoming(const Call &call, Payload payload) {
  const host::Result<UpcomingAsked> asked = upcoming_asked(payload);
  if (!asked) return with_status(asked.code());
  if (asked->schedule.empty()) return with_text(text_of_all(call, asked->count));
  sch_schedule_entry *entry = nullptr;
  if (const uint32_t status = find_own_schedule(call, asked->schedule, &entry); status != 0) return with_status(status);
  return with_text(text_of_one(*entry, asked->count));
}

host::Answer upcoming_document(const Call &call, Payload payload) {
  const host::Result<UpcomingAsked> asked = upcoming_asked(payload);
  if (!asked) return with_status(asked.code());
  Json content = feature_json();
  content["schedule"] = Json::array();
  if (asked->schedule.empty()) {
    for (const Upcoming &coming : soonest(call, asked->count))
      content["schedule"].push_back(coming_schedule(coming));
    return document("upcoming", std::move(content));
  }
  sch_schedule_entry *entry = nullptr;
  if (const uint32_t status = find_own_schedule(call, asked->schedule, &entry); status != 0) return with_status(status);
  content["schedule"].push_back(coming_times(*entry, asked->count));
  return document("upcoming", std::move(content));
}

}  // namespace service
