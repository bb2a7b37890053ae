// SPDX-License-Identifier: Apache-2.0
#include "tests/system/oracle/requests.h"

#include <arpa/inet.h>

#include "control/configuration.h"
#include "host/security/record.h"
#include "host/text_field.h"
#include "tests/system/oracle/client.h"

namespace oracle {
namespace {

sch_modify_request modification(const std::string &schedule, uint32_t subcommand) {
  sch_modify_request request = {};
  request.subcommand = subcommand;
  request.time.type = subcommand;
  host::put_text(schedule, request.schedule);
  return request;
}

std::string replacement(control::ConfigurationSource source, uint32_t number) {
  control::ConfigurationOrder order = {};
  order.source = static_cast<uint32_t>(source);
  order.number = number;
  return bytes_of(order);
}

}  // namespace

std::string named(const std::string &name, bool negate) {
  sch_named_request request = {};
  request.negate = negate;
  host::put_text(name, request.name);
  return bytes_of(request);
}

std::string job_text(const std::string &name, const std::string &text, bool negate) {
  sch_job_request request = {};
  request.head.negate = negate;
  host::put_text(name, request.head.name);
  request.text_length = static_cast<uint32_t>(text.size());
  return bytes_of(request) + text;
}

std::string assignment(const std::string &schedule, const std::string &job, bool negate) {
  sch_modify_request request = modification(schedule, SCH_MODIFY_JOB);
  request.time = {};
  request.negate = negate;
  host::put_text(job, request.job);
  return bytes_of(request);
}

std::string no_time(const std::string &schedule) {
  sch_modify_request request = modification(schedule, SCH_MODIFY_CLEAR_TIME);
  request.time = {};
  return bytes_of(request);
}

std::string each_minute(const std::string &schedule, time_t first) {
  sch_modify_request request = modification(schedule, SCH_SCHEDULE_PERIODIC);
  request.time.minute = 1;
  request.time.start_time = static_cast<int32_t>(first);
  return bytes_of(request);
}

std::string each_day(const std::string &schedule, int hour, int minute) {
  sch_modify_request request = modification(schedule, SCH_SCHEDULE_DAILY);
  request.time.hour = hour;
  request.time.minute = minute;
  return bytes_of(request);
}

std::string address_of(const std::string &schedule, const std::string &address, bool add) {
  sch_schedule_email_request request = {};
  request.operation = add ? SCH_EMAIL_ADD : SCH_EMAIL_REMOVE;
  host::put_text(schedule, request.schedule);
  host::put_text(address, request.address);
  return bytes_of(request);
}

std::string log_size(uint32_t kilobytes) {
  sch_log_file_request request = {};
  request.size = kilobytes * SCH_LOG_SIZE_UNIT;
  return bytes_of(request);
}

std::string log_name(const std::string &uri, const std::string &path) {
  sch_log_file_request request = {};
  host::put_text(uri, request.uri);
  host::put_text(path, request.name);
  return bytes_of(request);
}

std::string mail_from(const std::string &address) {
  sch_email_transport transport = {};
  host::put_text(address, transport.from);
  return bytes_of(transport);
}

std::string mail_reply_to(const std::string &address) {
  sch_email_transport transport = {};
  host::put_text(address, transport.reply_to);
  host::put_text(address, transport.reply_to_copy);
  return bytes_of(transport);
}

std::string mail_server(const std::string &host, uint32_t port) {
  constexpr uint32_t kind_name = 16;
  sch_email_transport transport = {};
  host::put_text(host, transport.smtp.server);
  transport.smtp.address_kind = htonl(kind_name);
  transport.smtp.port = htonl(port);
  return bytes_of(transport);
}

std::string password(const std::string &user, const std::string &clear) {
  return bytes_of(host::security_record(user, host::security_form_clear, clear));
}

std::string replacement_by_entry(uint32_t number) {
  return replacement(control::ConfigurationSource::entry, number);
}

std::string replacement_by_startup() {
  return replacement(control::ConfigurationSource::startup, 0);
}

std::string replacement_by_text(uint32_t number, uint32_t confirm_minutes) {
  std::string payload = replacement(control::ConfigurationSource::text, number);
  auto order = record_of<control::ConfigurationOrder>(payload);
  order.confirm_minutes = confirm_minutes;
  return bytes_of(order);
}

std::string replacement_on_top(uint32_t number) {
  auto order = record_of<control::ConfigurationOrder>(replacement_by_text(number));
  order.overlay = 1;
  return bytes_of(order);
}

}  // namespace oracle
