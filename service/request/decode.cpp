// SPDX-License-Identifier: Apache-2.0
#include "service/request/decode.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <limits>

#include "control/lines.h"
#include "control/statuses.h"
#include "host/status.h"
#include "host/text_field.h"
#include "host/visible.h"
#include "service/calendar/service_zone.h"
#include "service/clock.h"
#include "service/limits.h"
#include "service/request/shell_time.h"

namespace service {
namespace {

bool is_alphanumeric(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// False when the field lacks its terminator.
template <size_t size>
bool take_text(const char (&field)[size], std::string *text) {
  *text = host::text_in(field);
  return text->size() < size;
}

uint32_t take_name(const char (&field)[SCH_NAME_SIZE], std::string *name) {
  if (!take_text(field, name)) return host::err_bad_request;
  return is_name(*name) ? 0 : control::err_bad_name;
}

// Whether a line of the text would end the job's block when the configuration's text is replayed.
bool holds_end_of_job(std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = control::cut_line(&text);
    const size_t first = line.find_first_not_of(" \t"), last = line.find_last_not_of(" \t\r");
    if (first != line.npos && line.substr(first, last - first + 1) == "end-job") return true;
  }
  return false;
}

// The library computes periods with 32 bits.
uint32_t verify_period(const sch_tminfo &time) {
  constexpr int64_t shortest = 60;
  if (time.day_of_week < 0 || time.hour < 0 || time.minute < 0) return SCH_STATUS_TIME_OUT_OF_RANGE;
  const int64_t period = int64_t{time.day_of_week} * 86400 + int64_t{time.hour} * 3600 + int64_t{time.minute} * 60;
  const bool fits = period <= std::numeric_limits<int32_t>::max() - int64_t{time.start_time};
  return period >= shortest && fits ? 0 : SCH_STATUS_TIME_OUT_OF_RANGE;
}

uint32_t verify_time(uint32_t type, sch_tminfo *time) {
  if (time->type != type) return host::err_bad_value;
  // Not SCH_ERR_TIME_IN_PAST: the library takes the time for standard time. The service's calendar decides that later.
  const int error = sch_verify_tminfo(time);
  if (error != 0 && error != SCH_ERR_TIME_IN_PAST) return static_cast<uint32_t>(-error);
  time->last_run = 0;
  if (const uint32_t status = take_in_time(time, service_zone(), wall_clock()); status != 0) return status;
  return type == SCH_SCHEDULE_PERIODIC ? verify_period(*time) : 0;
}

// Such texts become part of configuration lines and of SMTP commands.
bool is_plain_word(const std::string &text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7f; });
}

template <size_t size>
uint32_t take_word(const char (&field)[size], std::string *word) {
  if (!take_text(field, word)) return host::err_bad_request;
  return is_plain_word(*word) ? 0 : host::err_bad_value;
}

template <size_t size>
uint32_t check_word(const char (&field)[size]) {
  std::string word;
  return take_word(field, &word);
}

}  // namespace

bool is_name(std::string_view name) {
  if (name.empty() || name.size() >= SCH_NAME_SIZE || !is_alphanumeric(name[0])) return false;
  return std::all_of(name.begin(), name.end(), [](char c) { return is_alphanumeric(c) || c == '_' || c == '-'; });
}

uint32_t decode_job(const sch_job_request &record, JobRequest *request) {
  return record.text_length == 0 ? take_name(record.head.name, &request->name) : host::err_bad_request;
}

uint32_t decode_job_text(const sch_job_request &record, std::string_view text, JobRequest *request) {
  if (record.text_length != text.size()) return host::err_bad_request;
  if (const uint32_t status = take_name(record.head.name, &request->name); status != 0) return status;
  if (text.size() > job_text_limit) return control::err_text_too_long;
  request->text = text;
  if (text.find('\0') != text.npos || holds_end_of_job(text)) return host::err_bad_value;
  // Job texts are shown unchanged, also on other users' terminals.
  return host::find_control(text) ? control::err_control_character : 0;
}

uint32_t decode_schedule(const sch_named_request &record, ScheduleRequest *request) {
  return take_name(record.name, &request->name);
}

uint32_t decode_modify(const sch_modify_request &record, ModifyRequest *request) {
  if (const uint32_t status = take_name(record.schedule, &request->schedule); status != 0) return status;
  if (!take_text(record.job, &request->job)) return host::err_bad_request;
  request->negate = record.negate != 0;
  request->subcommand = record.subcommand;
  request->time = record.time;
  switch (request->subcommand) {
    case SCH_MODIFY_CLEAR_TIME:
      return 0;
    case SCH_MODIFY_JOB:
      return is_name(request->job) ? 0 : control::err_bad_name;
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

uint32_t decode_log_resize(const sch_log_file_request &record, LogRequest *request) {
  request->size = record.size;
  if (request->size > log_size_max) return control::err_log_too_large;
  return request->size >= log_size_min ? 0 : host::err_bad_value;
}

uint32_t decode_log_rename(const sch_log_file_request &record, LogRequest *request) {
  if (!take_text(record.name, &request->name) || !take_text(record.uri, &request->uri)) return host::err_bad_request;
  return request->name.empty() || request->uri.empty() ? host::err_bad_value : 0;
}

uint32_t decode_email_from(const sch_email_transport &record, TransportRequest *request) {
  request->conf = record;
  return check_word(record.from);
}

uint32_t decode_email_replyto(const sch_email_transport &record, TransportRequest *request) {
  request->conf = record;
  return check_word(record.reply_to);
}

uint32_t decode_email_smtp(const sch_email_transport &record, TransportRequest *request) {
  request->conf = record;
  sch_smtp_server_rec &smtp = request->conf.smtp;
  smtp.address_kind = ntohl(smtp.address_kind);
  smtp.port = ntohl(smtp.port);
  if (const uint32_t status = check_word(smtp.server); status != 0) return status;
  if (smtp.vrf[0] != 0)
    if (const uint32_t status = check_word(smtp.vrf); status != 0) return status;
  const bool known_kind = smtp.address_kind == 1 || smtp.address_kind == 2 || smtp.address_kind == 16;
  return known_kind && smtp.port >= 1 && smtp.port <= 65535 ? 0 : host::err_bad_value;
}

uint32_t decode_address(const sch_schedule_email_request &record, AddressRequest *request) {
  if (record.operation != SCH_EMAIL_ADD && record.operation != SCH_EMAIL_REMOVE) return host::err_bad_value;
  request->add = record.operation == SCH_EMAIL_ADD;
  if (const uint32_t status = take_name(record.schedule, &request->schedule); status != 0) return status;
  return take_word(record.address, &request->address);
}

uint32_t decode_show(const sch_show_request &record, ShowRequest *request) {
  request->name = host::text_in(record.name);  // may fill its field: then nothing has that name
  request->cursor = record.cursor;
  return 0;
}

}  // namespace service
