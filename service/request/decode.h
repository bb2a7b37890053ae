// SPDX-License-Identifier: Apache-2.0
// The edge: a request's payload as typed values. Every length, text and range is checked here, completely; what gets
// through holds names by the rule, terminated printable addresses, and records that may be stored.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "schedcli.h"

namespace service {

using Payload = std::span<const std::byte>;

struct JobRequest {
  std::string name;
  std::string_view text;  // the payload's
};

struct ScheduleRequest {
  std::string name;
};

struct ModifyRequest {
  bool negate = false;
  uint32_t subcommand = 0;
  std::string schedule;
  std::string job;       // for SCH_MODIFY_JOB
  sch_tminfo time = {};  // for the time forms
};

struct LogRequest {
  std::string name, uri;  // for rename
  uint32_t size = 0;      // for resize
};

struct TransportRequest {
  sch_email_transport conf = {};  // host byte order
};

struct AddressRequest {
  bool add = false;
  std::string schedule, address;
};

struct ShowRequest {
  std::string name;  // empty: all
  int32_t cursor = -1;
};

// Each returns a status; the result is filled when it is 0.
uint32_t decode_job(Payload payload, JobRequest *request);  // create and delete
uint32_t decode_job_text(Payload payload, JobRequest *request);
uint32_t decode_schedule(Payload payload, ScheduleRequest *request);
uint32_t decode_modify(Payload payload, ModifyRequest *request);
uint32_t decode_log_resize(Payload payload, LogRequest *request);
uint32_t decode_log_rename(Payload payload, LogRequest *request);
uint32_t decode_email_from(Payload payload, TransportRequest *request);
uint32_t decode_email_replyto(Payload payload, TransportRequest *request);
uint32_t decode_email_smtp(Payload payload, TransportRequest *request);
uint32_t decode_address(Payload payload, AddressRequest *request);
uint32_t decode_show(Payload payload, ShowRequest *request);

// Alphanumeric first, then alphanumeric, '_' and '-'; 1 to 31 characters.
bool is_name(std::string_view name);

}  // namespace service
