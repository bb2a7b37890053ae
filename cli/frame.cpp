// SPDX-License-Identifier: Apache-2.0
#include "cli/frame.h"

#include <regex.h>

#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

#include "db/text_field.h"
#include "platform/errors.h"

namespace {

bool matches_name_rule(const char *name) {
  regex_t rule;
  if (regcomp(&rule, "^[0-9A-Za-z][0-9A-Za-z_-]*$", 0) != 0) return false;
  const bool matches = regexec(&rule, name, 0, nullptr, 0) == 0;
  regfree(&rule);
  return matches;
}

}  // namespace

RequestRecord::RequestRecord(uint32_t opcode, uint64_t payload_length) : length_(0) {
  // The length travels in 32 bits; a longer text is reported as if there were no memory for it.
  if (payload_length <= std::numeric_limits<uint32_t>::max() - sizeof(sch_request_header)) {
    length_ = static_cast<uint32_t>(sizeof(sch_request_header) + payload_length);
    record_.reset(static_cast<unsigned char *>(std::malloc(length_)));
  }
  if (!record_) {
    report_no_memory();
    return;
  }
  std::memset(record_.get(), 0, length_);
  *header() = {opcode, static_cast<uint32_t>(payload_length)};
}

uint32_t exchange(RequestRecord record, uint32_t shell_handle, const char *user_name, const char *peer_name) {
  void *reply = nullptr;
  uint32_t length = record.length();
  const uint32_t status = cmi_req_resp(SCH_SERVICE_CONFIG, SCH_CLASS_CONFIG, record.bytes(), &reply, &length, user_name,
                                       peer_name, transport_constant, shell_handle, 0);
  std::free(reply);
  return status;
}

uint32_t exchange(RequestRecord record, const sch_cli_cmd_ctx *ctx) {
  const FieldText user_name(ctx->user_name);
  const FieldText peer_name(ctx->peer_name);
  return exchange(std::move(record), ctx->shell_handle, user_name.text, peer_name.text);
}

void report_status(const char *what, uint32_t status) {
  std::fputs(what, stderr);
  std::fprintf(stderr, ": %s\n", syserr2str(status));
}

int report_missing_parameter() {
  std::fputs("Error: missing or unsuitable parameter\n", stderr);
  return exit_failure;
}

int report_no_memory() {
  std::fputs("Could not allocate memory\n", stderr);
  return exit_memory;
}

bool name_allowed(const char *name) {
  if (matches_name_rule(name)) return true;
  std::fputs("Invalid name. Name should begin with alphanumeric and may have '_' or '-'.\n", stderr);
  return false;
}

bool user_allowed(const sch_cli_cmd_ctx *ctx) {
  const FieldText user_name(ctx->user_name);
  // Asked twice on purpose: the second answer counts as much as the first.
  for (int round = 0; round < 2; ++round) {
    const uint32_t status = sch_validate_remote_user(ctx->shell_handle, user_name.text);
    if (status != 0) {
      report_status("Error", status);
      return false;
    }
  }
  return true;
}
