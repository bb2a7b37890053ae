// SPDX-License-Identifier: Apache-2.0
// Requests to the show service and the one way they are sent.
#pragma once

#include "cli/free_ptr.h"
#include "schedcli_requests.h"
#include "show/reply.h"

namespace show {

inline constexpr int exit_transport_error = 1;

// The request that names what is to be shown, with its header.
struct Request {
  sch_request_header header;
  sch_show_request payload;
};
static_assert(sizeof(Request) == sizeof(sch_request_header) + sizeof(sch_show_request));

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
