// SPDX-License-Identifier: Apache-2.0
#include "show/request.h"

#include <cstdio>
#include <cstring>

#include "cli/parameters.h"
#include "cli/report.h"
#include "cli/request.h"
#include "db/text_field.h"
#include "diag/trace.h"
#include "platform/errors.h"

namespace show {

FreePtr<Request> new_request(uint32_t opcode) {
  FreePtr<Request> request(static_cast<Request *>(std::malloc(sizeof(Request))));
  if (!request) return nullptr;
  std::memset(request.get(), 0, sizeof(Request));
  request->header = {opcode, sizeof(sch_show_request)};
  request->payload.cursor = SCH_CURSOR_FIRST;
  return request;
}

bool take_name(const sch_cli_cmd_ctx *ctx, Request *request) {
  if (!names_one(ctx)) return true;
  const char *name = text_parameter(ctx, 1);
  if (name == nullptr) return false;
  SCH_TRACE_CLI("parameter found");
  store_text(request->payload.name, name);
  return true;
}

int report_incomplete_reply() {
  std::fputs("Error: incomplete reply\n", stderr);
  return exit_transport_error;
}

bool ask_service(const sch_cli_cmd_ctx *ctx, uint32_t message_class, void *request, Reply *reply) {
  const FieldText user_name(ctx->user_name);
  const FieldText peer_name(ctx->peer_name);
  const uint32_t status = cmi_req_resp(SCH_SERVICE_SHOW, message_class, request, reply->data_out(), reply->length_out(),
                                       user_name.text, peer_name.text, transport_constant, ctx->shell_handle, 0);
  if (status == 0) return true;
  SCH_TRACE_CLI("error is %d %s", static_cast<int>(status), syserr2str(status));
  report_status("Error", status);
  return false;
}

}  // namespace show
