// SPDX-License-Identifier: Apache-2.0
// Decodes a request's record into typed values. The record's size has been checked already; every text, range and
// announced length is checked here. Afterwards names are valid, addresses terminated and printable, and records may be
// stored.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "schedcli_requests.h"

namespace service {

using Payload = std::span<const std::byte>;

struct JobRequest {
  std::string name;
  std::string_view text;  // points into the request
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
  int32_t cursor = SCH_CURSOR_FIRST;
};

// Each returns a status and fills the result if it is 0. `text` is what follows the record; the dispatcher refuses more
// than the record for decoders without it.
uint32_t decode_job(const sch_job_request &record, JobRequest *request);  // create and delete
uint32_t decode_job_text(const sch_job_request &record, std::string_view text, JobRequest *request);
uint32_t decode_schedule(const sch_named_request &record, ScheduleRequest *request);
uint32_t decode_modify(const sch_modify_request &record, ModifyRequest *request);
uint32_t decode_log_resize(const sch_log_file_request &record, LogRequest *request);
uint32_t decode_log_rename(const sch_log_file_request &record, LogRequest *request);
uint32_t decode_email_from(const sch_email_transport &record, TransportRequest *request);
uint32_t decode_email_replyto(const sch_email_transport &record, TransportRequest *request);
uint32_t decode_email_smtp(const sch_email_transport &record, TransportRequest *request);
uint32_t decode_address(const sch_schedule_email_request &record, AddressRequest *request);
uint32_t decode_show(const sch_show_request &record, ShowRequest *request);

// Alphanumeric first, then alphanumeric, '_' and '-'; 1 to 31 characters.
bool is_name(std::string_view name);

}  // namespace service
