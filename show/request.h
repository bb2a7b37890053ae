// SPDX-License-Identifier: Apache-2.0
// Requests to the show service and the one way they are sent.
#pragma once

#include "cli/frame.h"
#include "schedcli.h"
#include "show/reply.h"

namespace show {

inline constexpr int exit_transport_error = 1;
inline constexpr int32_t cursor_before_first = -1;

// Names what to show; `cursor` is the number of what was shown last.
struct Request {
  RequestHeader header;
  uint32_t reserved;
  char name[32];  // a name of 32 characters has no terminator
  int32_t cursor;
};
static_assert(sizeof(Request) == 48 && offsetof(Request, name) == 12 && offsetof(Request, cursor) == 44);

// Null when memory runs out; nothing is reported then.
FreePtr<Request> new_request(uint32_t opcode);

inline bool names_one(const sch_cli_cmd_ctx *ctx) {
  return ctx->param_count == 1;
}

// Takes the name from the command's parameter when it has just one. False when that parameter holds no text.
bool take_name(const sch_cli_cmd_ctx *ctx, Request *request);

// A reply that holds less than it announces is shown in no part.
int report_incomplete_reply();

// Sends and waits; a failure is traced and reported here.
bool ask_service(const sch_cli_cmd_ctx *ctx, uint32_t message_class, void *request, Reply *reply);

}  // namespace show
