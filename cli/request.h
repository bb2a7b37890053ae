// SPDX-License-Identifier: Apache-2.0
// A handler's request to the configuration service.
#pragma once

#include <cstdint>

#include "cli/free_ptr.h"
#include "schedcli_requests.h"

inline constexpr uint32_t transport_constant = 136;  // the transport wants it in every request

// The header and a zero-filled payload, in one block of exactly that size. False when memory is exhausted, which is
// reported here.
class RequestRecord {
 public:
  RequestRecord(uint32_t opcode, uint64_t payload_length);

  explicit operator bool() const { return record_ != nullptr; }
  void set_opcode(uint32_t opcode) { header()->opcode = opcode; }
  template <class Payload>
  Payload *payload() {
    return reinterpret_cast<Payload *>(record_.get() + sizeof(sch_request_header));
  }
  uint32_t length() const { return length_; }
  void *bytes() { return record_.get(); }

 private:
  sch_request_header *header() { return reinterpret_cast<sch_request_header *>(record_.get()); }

  FreePtr<unsigned char> record_;
  uint32_t length_;
};

// Sends the record, waits for the answer, frees both and returns the answer's status.
uint32_t exchange(RequestRecord record, uint32_t shell_handle, const char *user_name, const char *peer_name);
uint32_t exchange(RequestRecord record, const sch_cli_cmd_ctx *ctx);
