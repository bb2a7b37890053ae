// SPDX-License-Identifier: Apache-2.0
#include "service/request/dispatch.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "control/operations.h"
#include "control/statuses.h"
#include "host/refusal_report.h"
#include "host/security/account_state.h"
#include "host/status.h"
#include "service/clock.h"
#include "service/request/accounts.h"
#include "service/request/answer.h"
#include "service/request/control.h"
#include "service/request/email.h"
#include "service/request/jobs.h"
#include "service/request/log_settings.h"
#include "service/request/payload.h"
#include "service/request/schedules.h"
#include "service/request/show.h"
#include "service/run/runner.h"
#include "service/run/scheduler.h"

namespace service {
namespace {

enum class For { everybody, user, administrator };  // user: the caller may configure (Authority::may_configure)

struct Row {
  uint32_t service, opcode;
  size_t shortest, longest;  // bytes of the payload
  For whom;
  host::Answer (*handle)(const Call &, Payload);
};

host::Answer answer_of(uint32_t status) {
  return with_status(status);
}
host::Answer answer_of(host::Answer answer) {
  return answer;
}

template <auto decode, auto operation, typename Record, typename Request>
host::Answer handle(const Call &call, Payload payload) {
  Request request;
  const uint32_t status = decode(record_of<Record>(payload), &request);
  return status != 0 ? with_status(status) : answer_of(operation(call, request));
}

template <auto decode, auto operation, typename Record, typename Request>
host::Answer handle_with_text(const Call &call, Payload payload) {
  Request request;
  const uint32_t status = decode(record_of<Record>(payload), text_of(payload.subspan(sizeof(Record))), &request);
  return status != 0 ? with_status(status) : answer_of(operation(call, request));
}

template <auto operation>
host::Answer handle_bare(const Call &call, Payload) {
  return answer_of(operation(call));
}

constexpr size_t any_length = std::numeric_limits<size_t>::max();

// A row from a decoder (of a record, or of a record and the text behind it) and an operation, whose types determine the
// payload's size and the form of the answer.
template <auto decode, auto operation, typename Record, typename Request>
constexpr Row row_of(uint32_t (*)(const Record &, Request *), uint32_t service, uint32_t opcode, For whom) {
  return {service, opcode, sizeof(Record), sizeof(Record), whom, handle<decode, operation, Record, Request>};
}

template <auto decode, auto operation, typename Record, typename Request>
constexpr Row row_of(uint32_t (*)(const Record &, std::string_view, Request *), uint32_t service, uint32_t opcode,
                     For whom) {
  return {service, opcode, sizeof(Record), any_length, whom, handle_with_text<decode, operation, Record, Request>};
}

template <auto decode, auto operation>
constexpr Row row(uint32_t service, uint32_t opcode, For whom) {
  return row_of<decode, operation>(decode, service, opcode, whom);
}

// A row of an operation without parameters; its payload has `size` bytes, which are not read.
template <auto operation>
constexpr Row bare_row(uint32_t service, uint32_t opcode, For whom, size_t size = 0) {
  return {service, opcode, size, size, whom, handle_bare<operation>};
}

constexpr uint32_t config = SCH_SERVICE_CONFIG, show = SCH_SERVICE_SHOW;
constexpr size_t transport_size = sizeof(sch_email_transport);

// The most frequent first, as the table is searched in order.
constexpr Row rows[] = {
    row<decode_show, show_schedule>(show, SCH_OP_SHOW_SCHEDULE, For::everybody),
    row<decode_show, show_job>(show, SCH_OP_SHOW_JOB, For::everybody),
    row<decode_show, show_log>(show, SCH_OP_SHOW_LOG, For::everybody),
    bare_row<show_log_config>(show, SCH_OP_SHOW_LOG_CONFIG, For::everybody),
    bare_row<show_email_config>(show, SCH_OP_SHOW_EMAIL_CONFIG, For::everybody),
    row<decode_job, create_job>(config, SCH_OP_CREATE_JOB, For::user),
    row<decode_job_text, define_job>(config, SCH_OP_DEFINE_JOB, For::user),
    row<decode_job, delete_job>(config, SCH_OP_DELETE_JOB, For::user),
    row<decode_schedule, create_schedule>(config, SCH_OP_CREATE_SCHEDULE, For::user),
    row<decode_modify, modify_schedule>(config, SCH_OP_MODIFY_SCHEDULE, For::user),
    row<decode_schedule, delete_schedule>(config, SCH_OP_DELETE_SCHEDULE, For::user),
    row<decode_log_resize, resize_log>(config, SCH_OP_RESIZE_LOG, For::administrator),
    row<decode_log_rename, rename_log>(config, SCH_OP_RENAME_LOG, For::administrator),
    bare_row<clear_log>(config, SCH_OP_CLEAR_LOG, For::administrator, sizeof(sch_log_file_request)),
    row<decode_email_from, set_email_from>(config, SCH_OP_SET_EMAIL_FROM, For::administrator),
    bare_row<clear_email_from>(config, SCH_OP_CLEAR_EMAIL_FROM, For::administrator, transport_size),
    row<decode_email_replyto, set_email_replyto>(config, SCH_OP_SET_EMAIL_REPLYTO, For::administrator),
    bare_row<clear_email_replyto>(config, SCH_OP_CLEAR_EMAIL_REPLYTO, For::administrator, transport_size),
    row<decode_email_smtp, set_email_smtp>(config, SCH_OP_SET_EMAIL_SMTP, For::administrator),
    bare_row<clear_email_smtp>(config, SCH_OP_CLEAR_EMAIL_SMTP, For::administrator, transport_size),
    row<decode_address, modify_address>(config, SCH_OP_SCHEDULE_EMAIL, For::user),
};

uint32_t may_call(const Row &row, const Call &call) {
  if (row.service == config && scheduler_enabled == 0) return control::err_disabled;
  const Context &context = call.context;
  if (row.whom == For::user)
    return context.authority.may_configure(call.caller, context.settings->allow_groups,
                                           context.runner.processes().user_groups());
  const bool allowed = row.whom == For::everybody || context.authority.administrator(call.caller);
  return allowed ? 0 : host::err_not_permitted;
}

host::Answer answer_record(const Call &call, uint32_t service, Payload record) {
  if (record.size() < sizeof(sch_request_header)) return with_status(host::err_bad_request);
  const auto header = record_of<sch_request_header>(record);
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
  const auto operation = record_of<uint32_t>(record);
  return control(call, static_cast<control::Operation>(operation), record.subspan(sizeof operation));
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

// Requests that change the configuration, or start or end runs, need a usable account; showing does not.
bool needs_account(const Context &context, const host::Incoming &incoming) {
  if (context.authority.administrator(incoming.caller)) return false;
  if (incoming.service != host::service_control) return incoming.service == SCH_SERVICE_CONFIG;
  return incoming.body.size() >= sizeof(uint32_t) &&
         changes_something(static_cast<control::Operation>(record_of<uint32_t>(incoming.body)));
}

void note_change(Context &context, const host::Incoming &incoming) {
  context.last_change = {wall_clock(), incoming.caller.user_name, "process " + std::to_string(incoming.caller.pid),
                         "commands"};
}

// Attempts to use what belongs to others are reported to the administrator.
void report_refusal(const host::Caller &caller, uint32_t status) {
  constexpr unsigned lines_a_minute = 20;
  static host::RefusalReport report(lines_a_minute);
  report.add(caller.pid, "user " + caller.user_name, status);
}

host::Answer carry_out(Context &context, const host::Incoming &incoming) {
  host::Answer result = answer({context, incoming.caller}, incoming);
  if (incoming.service == SCH_SERVICE_CONFIG && result.status == 0) note_change(context, incoming);
  if (result.status == host::err_not_permitted || result.status == control::err_not_owner ||
      result.status == control::err_not_allowed)
    report_refusal(incoming.caller, result.status);
  return result;
}

// The body may contain a password.
void wipe(host::Bytes *body) {
  explicit_bzero(body->data(), body->size());
  delete body;
}

// The body is copied: when the answer is pending, the transport's buffer will be used for other requests.
host::Answer answer_if_account_is_usable(Context &context, const host::Incoming &incoming) {
  const std::shared_ptr<host::Bytes> body(new host::Bytes(incoming.body.begin(), incoming.body.end()), wipe);
  host::Incoming kept = incoming;
  kept.body = *body;
  return context.accounts->if_usable(incoming.caller.user_name, Accounts::Clock::now(), [&context, body, kept] {
    host::Answer result = carry_out(context, kept);
    context.scheduler.check_soon();
    return result;
  });
}

}  // namespace

bool only_reads(uint32_t service, Payload request) {
  return service == show || (service == host::service_control && only_reads(request));
}

host::Answer dispatch(Context &context, const host::Incoming &incoming) {
  if (!needs_account(context, incoming)) return carry_out(context, incoming);
  if (host::why_account_is_closed(incoming.caller.user_name, wall_clock())) {
    report_refusal(incoming.caller, host::err_account_refused);
    return with_status(host::err_account_refused);
  }
  return context.accounts == nullptr ? carry_out(context, incoming) : answer_if_account_is_usable(context, incoming);
}

}  // namespace service
