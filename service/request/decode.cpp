// SPDX-License-Identifier: Apache-2.0
#include "service/request/decode.h"

#include <arpa/inet.h>

#include <algorithm>
#include <limits>

#include "host/status.h"
#include "service/limits.h"
#include "service/request/payload.h"

namespace service {
namespace {

constexpr size_t name_size = sizeof(sch_config_key::name);

bool is_alphanumeric(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

struct LogFields {
  uint32_t negate, reserved;
  char name[256], uri[256];
  uint32_t size;
};
static_assert(sizeof(LogFields) == 524);

uint32_t take_name(PayloadReader &reader, std::string *name) {
  *name = reader.text(name_size);
  if (!reader.terminated()) return host::err_bad_request;
  return is_name(*name) ? 0 : host::err_bad_name;
}

uint32_t decode_job_fields(PayloadReader &reader, JobRequest *request) {
  reader.take<uint64_t>();  // the opcode says what the negate flag says
  const uint32_t status = take_name(reader, &request->name);
  reader.take<uint32_t>();
  const auto length = reader.take<uint32_t>();
  request->text = reader.rest();
  return length == request->text.size() ? status : host::err_bad_request;
}

// A line of its own that ends the job's block when the configuration's text is replayed.
bool holds_end_of_job(std::string_view text) {
  while (!text.empty()) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    const size_t first = line.find_first_not_of(" \t"), last = line.find_last_not_of(" \t\r");
    if (first != line.npos && line.substr(first, last - first + 1) == "end-job") return true;
  }
  return false;
}

// The library multiplies and adds in 32 bits.
uint32_t verify_period(const sch_tminfo &time) {
  constexpr int64_t shortest = 60;
  if (time.day_of_week < 0 || time.hour < 0 || time.minute < 0) return SCH_STATUS_TIME_OUT_OF_RANGE;
  const int64_t period = int64_t{time.day_of_week} * 86400 + int64_t{time.hour} * 3600 + int64_t{time.minute} * 60;
  const bool fits = period <= std::numeric_limits<int32_t>::max() - int64_t{time.start_time};
  return period >= shortest && fits ? 0 : SCH_STATUS_TIME_OUT_OF_RANGE;
}

uint32_t verify_time(uint32_t type, sch_tminfo *time) {
  if (time->type != type) return host::err_bad_value;
  if (const int error = sch_verify_tminfo(time); error != 0) return static_cast<uint32_t>(-error);
  time->last_run = 0;
  return type == SCH_SCHEDULE_PERIODIC ? verify_period(*time) : 0;
}

// It becomes part of configuration lines and of the conversation with the mail server.
bool is_plain_word(const std::string &text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7f; });
}

template <size_t size>
uint32_t check_word(const char (&field)[size]) {
  const size_t length = strnlen(field, size);
  if (length == size) return host::err_bad_request;
  return is_plain_word({field, length}) ? 0 : host::err_bad_value;
}

}  // namespace

bool is_name(std::string_view name) {
  if (name.empty() || name.size() >= name_size || !is_alphanumeric(name[0])) return false;
  return std::all_of(name.begin(), name.end(), [](char c) { return is_alphanumeric(c) || c == '_' || c == '-'; });
}

uint32_t decode_job(Payload payload, JobRequest *request) {
  PayloadReader reader(payload);
  return decode_job_fields(reader, request);
}

uint32_t decode_job_text(Payload payload, JobRequest *request) {
  PayloadReader reader(payload);
  if (const uint32_t status = decode_job_fields(reader, request); status != 0) return status;
  if (request->text.size() > job_text_limit) return host::err_text_too_long;
  const bool holds_nul = request->text.find('\0') != std::string_view::npos;
  return holds_nul || holds_end_of_job(request->text) ? host::err_bad_value : 0;
}

uint32_t decode_schedule(Payload payload, ScheduleRequest *request) {
  PayloadReader reader(payload);
  reader.take<uint64_t>();
  return take_name(reader, &request->name);
}

uint32_t decode_modify(Payload payload, ModifyRequest *request) {
  PayloadReader reader(payload);
  request->negate = reader.take<uint32_t>() != 0;
  reader.take<uint32_t>();
  request->subcommand = reader.take<uint32_t>();
  if (const uint32_t status = take_name(reader, &request->schedule); status != 0) return status;
  request->job = reader.text(name_size);
  reader.take<uint32_t>();
  request->time = reader.take<sch_tminfo>();
  if (!reader.terminated()) return host::err_bad_request;
  switch (request->subcommand) {
    case SCH_MODIFY_CLEAR_TIME:
      return 0;
    case SCH_MODIFY_JOB:
      return is_name(request->job) ? 0 : host::err_bad_name;
    case SCH_SCHEDULE_ONESHOT:
    case SCH_SCHEDULE_DAILY:
    case SCH_SCHEDULE_WEEKLY:
    case SCH_SCHEDULE_MONTHLY:
    case SCH_SCHEDULE_PERIODIC:
      return request->negate ? host::err_bad_value : verify_time(request->subcommand, &request->time);
    default:
      return host::err_bad_value;
  }
}

uint32_t decode_log_resize(Payload payload, LogRequest *request) {
  PayloadReader reader(payload);
  request->size = reader.take<LogFields>().size;
  return request->size >= log_size_min && request->size <= log_size_max ? 0 : host::err_bad_value;
}

uint32_t decode_log_rename(Payload payload, LogRequest *request) {
  PayloadReader reader(payload);
  reader.take<uint64_t>();
  request->name = reader.text(sizeof(LogFields::name));
  request->uri = reader.text(sizeof(LogFields::uri));
  if (!reader.terminated()) return host::err_bad_request;
  return request->name.empty() || request->uri.empty() ? host::err_bad_value : 0;
}

uint32_t decode_email_from(Payload payload, TransportRequest *request) {
  request->conf = PayloadReader(payload).take<sch_email_transport>();
  return check_word(request->conf.from);
}

uint32_t decode_email_replyto(Payload payload, TransportRequest *request) {
  request->conf = PayloadReader(payload).take<sch_email_transport>();
  return check_word(request->conf.reply_to);
}

uint32_t decode_email_smtp(Payload payload, TransportRequest *request) {
  request->conf = PayloadReader(payload).take<sch_email_transport>();
  sch_smtp_server_rec &smtp = request->conf.smtp;
  smtp.address_kind = ntohl(smtp.address_kind);
  smtp.port = ntohl(smtp.port);
  if (const uint32_t status = check_word(smtp.server); status != 0) return status;
  if (smtp.vrf[0] != 0)
    if (const uint32_t status = check_word(smtp.vrf); status != 0) return status;
  const bool known_kind = smtp.address_kind == 1 || smtp.address_kind == 2 || smtp.address_kind == 16;
  return known_kind && smtp.port >= 1 && smtp.port <= 65535 ? 0 : host::err_bad_value;
}

uint32_t decode_address(Payload payload, AddressRequest *request) {
  PayloadReader reader(payload);
  const auto operation = reader.take<uint8_t>();
  if (operation != SCH_EMAIL_ADD && operation != SCH_EMAIL_REMOVE) return host::err_bad_value;
  request->add = operation == SCH_EMAIL_ADD;
  if (const uint32_t status = take_name(reader, &request->schedule); status != 0) return status;
  request->address = reader.text(sizeof(sch_email_slot::address));
  if (!reader.terminated()) return host::err_bad_request;
  return is_plain_word(request->address) ? 0 : host::err_bad_value;
}

uint32_t decode_show(Payload payload, ShowRequest *request) {
  PayloadReader reader(payload);
  reader.take<uint32_t>();
  request->name = reader.text(name_size);  // a name that fills its field names nothing
  request->cursor = reader.take<int32_t>();
  return 0;
}

}  // namespace service
