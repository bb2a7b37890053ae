// SPDX-License-Identifier: Apache-2.0
#include "service/request/dispatch.h"

#include <algorithm>
#include <ctime>
#include <limits>
#include <utility>

#include "host/status.h"
#include "platform/errors.h"
#include "service/request/answer.h"
#include "service/request/control.h"
#include "service/request/email.h"
#include "service/request/jobs.h"
#include "service/request/log_settings.h"
#include "service/request/payload.h"
#include "service/request/schedules.h"
#include "service/request/show.h"

namespace service {
namespace {

using Handle = host::Answer (*)(const Call &, Payload);

// Joins a decoder and the operation on what it decodes.
template <auto decode, auto operation, typename Request>
host::Answer handle(const Call &call, Payload payload) {
  Request request;
  if (const uint32_t status = decode(payload, &request); status != 0) return with_status(status);
  if constexpr (std::is_same_v<decltype(operation(call, request)), uint32_t>)
    return with_status(operation(call, request));
  else
    return operation(call, request);
}

template <auto operation>
host::Answer handle_empty(const Call &call, Payload) {
  if constexpr (std::is_same_v<decltype(operation(call)), uint32_t>)
    return with_status(operation(call));
  else
    return operation(call);
}

enum class For { everybody, user, administrator };  // user: one who can be served later, when the schedule is due

struct Row {
  uint32_t service, opcode;
  size_t shortest, longest;  // bytes of the payload
  For whom;
  Handle handle;
};

constexpr size_t any_length = std::numeric_limits<size_t>::max();
constexpr uint32_t config = SCH_SERVICE_CONFIG, show = SCH_SERVICE_SHOW;

// The most frequent first.
constexpr Row rows[] = {
    {show, SCH_OP_SHOW_SCHEDULE, 40, 40, For::everybody, handle<decode_show, show_schedule, ShowRequest>},
    {show, SCH_OP_SHOW_JOB, 40, 40, For::everybody, handle<decode_show, show_job, ShowRequest>},
    {show, SCH_OP_SHOW_LOG, 40, 40, For::everybody, handle<decode_show, show_log, ShowRequest>},
    {show, SCH_OP_SHOW_LOG_CONFIG, 0, 0, For::everybody, handle_empty<show_log_config>},
    {show, SCH_OP_SHOW_EMAIL_CONFIG, 0, 0, For::everybody, handle_empty<show_email_config>},
    {config, SCH_OP_CREATE_JOB, 48, 48, For::user, handle<decode_job, create_job, JobRequest>},
    {config, SCH_OP_DEFINE_JOB, 48, any_length, For::user, handle<decode_job_text, define_job, JobRequest>},
    {config, SCH_OP_DELETE_JOB, 48, 48, For::user, handle<decode_job, delete_job, JobRequest>},
    {config, SCH_OP_CREATE_SCHEDULE, 40, 40, For::user, handle<decode_schedule, create_schedule, ScheduleRequest>},
    {config, SCH_OP_MODIFY_SCHEDULE, 120, 120, For::user, handle<decode_modify, modify_schedule, ModifyRequest>},
    {config, SCH_OP_DELETE_SCHEDULE, 40, 40, For::user, handle<decode_schedule, delete_schedule, ScheduleRequest>},
    {config, SCH_OP_RESIZE_LOG, 524, 524, For::administrator, handle<decode_log_resize, resize_log, LogRequest>},
    {config, SCH_OP_RENAME_LOG, 524, 524, For::administrator, handle<decode_log_rename, rename_log, LogRequest>},
    {config, SCH_OP_CLEAR_LOG, 524, 524, For::administrator, handle_empty<clear_log>},
    {config, SCH_OP_SET_EMAIL_FROM, 712, 712, For::administrator,
     handle<decode_email_from, set_email_from, TransportRequest>},
    {config, SCH_OP_CLEAR_EMAIL_FROM, 712, 712, For::administrator, handle_empty<clear_email_from>},
    {config, SCH_OP_SET_EMAIL_REPLYTO, 712, 712, For::administrator,
     handle<decode_email_replyto, set_email_replyto, TransportRequest>},
    {config, SCH_OP_CLEAR_EMAIL_REPLYTO, 712, 712, For::administrator, handle_empty<clear_email_replyto>},
    {config, SCH_OP_SET_EMAIL_SMTP, 712, 712, For::administrator,
     handle<decode_email_smtp, set_email_smtp, TransportRequest>},
    {config, SCH_OP_CLEAR_EMAIL_SMTP, 712, 712, For::administrator, handle_empty<clear_email_smtp>},
    {config, SCH_OP_SCHEDULE_EMAIL, 97, 97, For::user, handle<decode_address, modify_address, AddressRequest>},
};

struct RequestHeader {
  uint32_t opcode, payload_length;
};

uint32_t may_call(const Row &row, const Call &call) {
  if (row.service == config && scheduler_enabled == 0) return host::err_disabled;
  if (row.whom == For::user) return call.context.authority.may_configure(call.caller);
  const bool allowed = row.whom == For::everybody || call.context.authority.administrator(call.caller);
  return allowed ? 0 : host::err_not_permitted;
}

host::Answer answer_record(const Call &call, uint32_t service, Payload record) {
  if (record.size() < sizeof(RequestHeader)) return with_status(host::err_bad_request);
  const auto header = PayloadReader(record).take<RequestHeader>();
  const Payload payload = record.subspan(sizeof header);
  const auto row = std::find_if(std::begin(rows), std::end(rows), [&](const Row &candidate) {
    return candidate.service == service && candidate.opcode == header.opcode;
  });
  if (row == std::end(rows)) return with_status(host::err_unknown_opcode);
  if (header.payload_length != payload.size() || payload.size() < row->shortest || payload.size() > row->longest)
    return with_status(host::err_bad_request);
  if (const uint32_t status = may_call(*row, call); status != 0) return with_status(status);
  return row->handle(call, payload);
}

host::Answer answer_control(const Call &call, Payload record) {
  if (record.size() < sizeof(uint32_t)) return with_status(host::err_bad_request);
  const auto operation = PayloadReader(record).take<uint32_t>();
  return control(call, static_cast<host::Control>(operation), record.subspan(sizeof operation));
}

host::Answer answer(const Call &call, const host::Incoming &incoming) {
  switch (incoming.service) {
    case SCH_SERVICE_CONFIG:
    case SCH_SERVICE_SHOW:
      return answer_record(call, incoming.service, incoming.body);
    case host::service_control:
      return answer_control(call, incoming.body);
    default:
      return with_status(host::err_unknown_service);
  }
}

// An administrator wants to know who tries; a user who tries all the time must not fill the log.
void report_refusal(const host::Incoming &incoming, uint32_t status) {
  constexpr int lines_a_minute = 20;
  static time_t minute = 0;
  static int lines = 0;
  const time_t now = time(nullptr) / 60;
  if (std::exchange(minute, now) != now) lines = 0;
  if (lines++ >= lines_a_minute) return;
  const std::string text = "request of user " + incoming.caller.user_name + " (process " +
                           std::to_string(incoming.caller.pid) + ") refused: " + syserr2str(status);
  sch_syslog_raise(&syslog_msg_SCH_WARN, text.c_str());
}

}  // namespace

host::Answer dispatch(Context &context, const host::Incoming &incoming) try {
  host::Answer result = answer({context, incoming.caller}, incoming);
  if (result.status == host::err_not_permitted || result.status == host::err_not_owner)
    report_refusal(incoming, result.status);
  return result;
} catch (const std::bad_alloc &) {
  return with_status(host::err_no_memory);
}

}  // namespace service
