// SPDX-License-Identifier: Apache-2.0
// What all command handlers share: the request record and its exchange, the name rule, the user check, the reports.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "schedcli_requests.h"

// Results of the handlers, to the shell.
inline constexpr int exit_success = 0;
inline constexpr int exit_refused = 1;  // a refused host address, a failed feature change
inline constexpr int exit_memory = 2;
inline constexpr int exit_failure = 255;
inline constexpr int exit_bad_form = -1;  // a time that does not hold, a form that the command does not have

inline constexpr uint32_t transport_constant = 136;  // the transport wants it in every request

struct FreeDeleter {
  void operator()(void *memory) const { std::free(memory); }
};
template <class T>
using FreePtr = std::unique_ptr<T, FreeDeleter>;

// One request: the header and a zero-filled payload, in one block of exactly that size. False without memory, which
// is reported here.
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

// Sends the record to the configuration service, waits for the answer, frees both and hands back the status.
uint32_t exchange(RequestRecord record, uint32_t shell_handle, const char *user_name, const char *peer_name);
uint32_t exchange(RequestRecord record, const sch_cli_cmd_ctx *ctx);

// `what`, then ": <text of the status>", to standard error.
void report_status(const char *what, uint32_t status);
int report_missing_parameter();
int report_no_memory();

// Both report what they refuse.
bool name_allowed(const char *name);
bool user_allowed(const sch_cli_cmd_ctx *ctx);
