// SPDX-License-Identifier: Apache-2.0
#include "service/request/show.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <limits>

#include "host/text_field.h"
#include "service/calendar/service_zone.h"
#include "service/clock.h"
#include "service/request/answer.h"
#include "service/request/shell_time.h"
#include "service/run/outcome.h"
#include "service/state/address_table.h"
#include "service/state/job_text.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"

namespace service {
namespace {

bool may_show(const Call &call, const sch_job_entry &slot) {
  return slot.hdr != nullptr && call.context.authority.may_use(call.caller, owner_of(slot));
}

const sch_job_entry *next_job(const Call &call, const ShowRequest &request) {
  if (!request.name.empty()) {
    const sch_job_entry *slot = find_job(request.name);
    return slot != nullptr && may_show(call, *slot) ? slot : nullptr;
  }
  if (request.cursor == std::numeric_limits<int32_t>::max()) return nullptr;
  int index = request.cursor + 1;
  for (; const sch_job_entry *slot = sch_next_job(&sch_running_config, &index); index++)
    if (may_show(call, *slot)) return slot;
  return nullptr;
}

const sch_schedule_entry *next_schedule(const Call &call, const ShowRequest &request) {
  const Authority &authority = call.context.authority;
  if (request.name.empty())
    return authority.administrator(call.caller) ? schedule_after(request.cursor)
                                                : schedule_after(request.cursor, owner_tag(call.caller.uid));
  const sch_schedule_entry *entry = find_schedule(request.name);
  return entry != nullptr && authority.may_use(call.caller, owner_of(*entry)) ? entry : nullptr;
}

// For a job that has not run although its schedule has, a failure: the reply's only way to say that it did not succeed.
uint32_t last_wait_status(const sch_job_entry &slot, const char *schedule) {
  const sch_runtime_job_status *status = find_status(slot, schedule);
  return status == nullptr ? exit_status(Reason::not_yet_run) : status->words[0];
}

void fill_addresses(const std::string &schedule, sch_show_schedule_reply *reply) {
  const sch_schedule_email_entry *entry = find_addresses(schedule);
  if (entry == nullptr) return;
  reply->email_count = entry->count;
  std::copy(std::begin(entry->slots), std::end(entry->slots), reply->emails);
}

sch_show_schedule_reply describe(const sch_schedule_entry &entry) {
  const ScheduleState state = state_of(*entry.rec);
  sch_show_schedule_reply reply = {};
  reply.number = static_cast<int32_t>(schedule_number(*entry.rec));
  host::put_text(name_of(*entry.key), reply.name);
  reply.time = entry.rec->time;
  const auto for_shell = [now = wall_clock()](uint32_t moment) { return time_for_shell(moment, service_zone(), now); };
  reply.time.start_time = for_shell(static_cast<uint32_t>(entry.rec->time.start_time));
  reply.last_completion = for_shell(state.last_completion);
  reply.last_execution = for_shell(state.last_execution);
  reply.execution_count = static_cast<int32_t>(state.execution_count);
  std::copy(std::begin(state.owner), std::end(state.owner) - 1, reply.user);
  fill_addresses(name_of(*entry.key), &reply);
  return reply;
}

}  // namespace

host::Answer show_job(const Call &call, const ShowRequest &request) {
  const sch_job_entry *slot = next_job(call, request);
  if (slot == nullptr) return {};
  sch_show_job_reply fixed = {};
  host::put_text(name_of(*slot->key), fixed.name);
  fixed.job_id = static_cast<int32_t>(slot->hdr->job_id);
  host::Bytes reply;
  reply.reserve(sizeof fixed + std::min(slot->hdr->length, host::frame_limit));  // the length may be of a damaged store
  append_record(&reply, fixed);
  for_each_piece(*slot, [&](std::string_view piece) { append_text(&reply, piece); });
  fixed.length = static_cast<int32_t>(reply.size() - sizeof fixed);
  std::memcpy(reply.data(), &fixed, sizeof fixed);
  return with_reply(std::move(reply));
}

host::Answer show_schedule(const Call &call, const ShowRequest &request) {
  const sch_schedule_entry *entry = next_schedule(call, request);
  if (entry == nullptr) return {};
  sch_show_schedule_reply fixed = describe(*entry);
  host::Bytes jobs;
  for_each_assigned(*entry->rec, [&](uint32_t id) {
    const sch_job_entry &slot = sch_job_list[id];
    sch_job_status_entry status = {};
    host::put_text(name_of(*slot.key), status.name);
    status.wait_status = last_wait_status(slot, fixed.name);
    append_record(&jobs, status);
    fixed.job_count++;
  });
  host::Bytes reply;
  append_record(&reply, fixed);
  reply.insert(reply.end(), jobs.begin(), jobs.end());
  return with_reply(std::move(reply));
}

}  // namespace service
