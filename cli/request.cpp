// SPDX-License-Identifier: Apache-2.0
#include "cli/request.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

#include "cli/report.h"
#include "db/text_field.h"

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
