// SPDX-License-Identifier: Apache-2.0
// Documents about jobs and schedules.
#include <map>
#include <memory>

#include "host/text_field.h"
#include "service/document/answer.h"
#include "service/document/recurrence.h"
#include "service/document/run.h"
#include "service/document/schedule.h"
#include "service/request/answer.h"
#include "service/request/ownership.h"
#include "service/request/payload.h"
#include "service/request/run_summary.h"
#include "service/request/shown.h"
#include "service/run/history.h"
#include "service/run/runner.h"
#include "service/state/address_table.h"
#include "service/state/job_text.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"

namespace service {
namespace {

using control::json_moment;
using control::json_text;

using UnderWay = std::map<std::string, RunSummary>;  // by schedule

void add_moment(Json *object, const char *name, uint32_t moment) {
  if (moment != 0) (*object)[name] = json_moment(moment);
}

std::string owner_name(const sch_schedule_entry &entry) {
  const ScheduleState state = state_of(*entry.rec);
  return json_text(host::text_in(state.owner));
}

// Each of the caller's schedules once, the one after the other by number; one that goes meanwhile is left out.
class Walk {
 public:
  explicit Walk(const Call &call)
      : owner_(call.context.authority.administrator(call.caller) ? std::nullopt
                                                                 : std::optional(owner_tag(call.caller.uid))) {}
  const sch_schedule_entry *next() {
    const sch_schedule_entry *entry = owner_ ? schedule_after(number_, *owner_) : schedule_after(number_);
    if (entry != nullptr) number_ = schedule_number(*entry->rec);
    return entry;
  }

 private:
  std::optional<uint32_t> owner_;
  int64_t number_ = -1;
};

NextEntry each_schedule(const Call &call, std::function<Json(const sch_schedule_entry &)> describe) {
  const auto walk = std::make_shared<Walk>(call);
  return [walk, describe = std::move(describe)]() -> std::optional<Json> {
    const sch_schedule_entry *entry = walk->next();
    return entry == nullptr ? std::nullopt : std::optional(describe(*entry));
  };
}

NextEntry one(Json entry) {
  return [entry = std::optional(std::move(entry))]() mutable { return std::exchange(entry, std::nullopt); };
}

Json line_of(const sch_schedule_entry &entry, const UnderWay &under_way) {
  Json line = schedule_head(entry);
  add_recurrence(&line, entry.rec->time);
  const auto run = under_way.find(name_of(*entry.key));
  const std::vector<HistoryRun> newest = run == under_way.end() ? read_history(entry, 1) : std::vector<HistoryRun>();
  if (run != under_way.end())
    line["last-run"] = run_json(run->second);
  else if (!newest.empty())
    line["last-run"] = run_json(summary_of(entry, newest.front()));
  return line;
}

Json assigned_job(const sch_schedule_entry &entry, uint32_t id) {
  const sch_job_entry &slot = sch_job_list[id];
  Json job = {{"name", name_of(*slot.key)}};
  if (const sch_runtime_job_status *status = find_status(slot, name_of(*entry.key).c_str())) {
    job["last-exit-code"] = status->words[0] >> 8 & 0xff;
    add_moment(&job, "last-end", status->words[1]);
  }
  return job;
}

Json schedule_json(const sch_schedule_entry &entry) {
  Json schedule = schedule_head(entry);
  const ScheduleState state = state_of(*entry.rec);
  add_recurrence(&schedule, entry.rec->time);
  add_moment(&schedule, "last-start", state.last_execution);
  add_moment(&schedule, "last-end", state.last_completion);
  schedule["executions"] = state.execution_count;
  schedule["job"] = Json::array();
  for_each_assigned(*entry.rec, [&](uint32_t id) { schedule["job"].push_back(assigned_job(entry, id)); });
  const sch_schedule_email_entry *addresses = find_addresses(name_of(*entry.key));
  if (addresses == nullptr) return schedule;
  for (const sch_email_slot &slot : addresses->slots)
    if (slot.in_use != 0) schedule["address"].push_back(json_text(host::text_in(slot.address)));
  return schedule;
}

Json job_json(const sch_job_entry &slot) {
  const std::string text = job_text(slot);
  return {{"name", name_of(*slot.key)}, {"commands", json_text(text)}, {"length", text.size()}};
}

bool may_show(const Call &call, const sch_job_entry &slot) {
  return slot.hdr != nullptr && call.context.authority.may_use(call.caller, owner_of(slot));
}

// Those who may see what they see at the moment of the request.
NextEntry each_job(const Call &call) {
  std::vector<std::string> names;
  for_each_job([&](const sch_job_entry &slot, uint32_t) {
    if (may_show(call, slot)) names.push_back(name_of(*slot.key));
  });
  return [names = std::move(names), next = size_t{0}]() mutable -> std::optional<Json> {
    while (next < names.size())
      if (const sch_job_entry *slot = find_job(names[next++]); slot != nullptr && slot->hdr != nullptr)
        return job_json(*slot);
    return std::nullopt;
  };
}

}  // namespace

Json feature_json() {
  return {{"enabled", scheduler_enabled != 0}};
}

Json schedule_head(const sch_schedule_entry &entry) {
  Json head = {{"name", name_of(*entry.key)}, {"owner", owner_name(entry)}, {"enabled", is_enabled(*entry.rec)}};
  if (is_enabled(*entry.rec)) add_moment(&head, "next-due", state_of(*entry.rec).next_due);
  return head;
}

host::Answer overview_document(const Call &call, Payload) {
  UnderWay under_way;
  for (const Runner::UnderWay &run : call.context.runner.list())
    under_way.emplace(run.schedule, summary_of(run));
  return list_document("overview", feature_json(), "schedule",
                       each_schedule(call, [under_way = std::move(under_way)](const sch_schedule_entry &entry) {
                         return line_of(entry, under_way);
                       }));
}

host::Answer schedules_document(const Call &call, Payload payload) {
  const std::string name(text_of(payload));
  if (name.empty()) return list_document("schedules", feature_json(), "schedule", each_schedule(call, schedule_json));
  sch_schedule_entry *entry = nullptr;
  if (const uint32_t status = find_own_schedule(call, name, &entry); status != 0) return with_status(status);
  return list_document("schedules", feature_json(), "schedule", one(schedule_json(*entry)));
}

host::Answer jobs_document(const Call &call, Payload payload) {
  const std::string name(text_of(payload));
  if (name.empty()) return list_document("jobs", feature_json(), "job", each_job(call));
  sch_job_entry *slot = nullptr;
  if (const uint32_t status = find_own_job(call, name, &slot); status != 0) return with_status(status);
  return list_document("jobs", feature_json(), "job", one(job_json(*slot)));
}

}  // namespace service
