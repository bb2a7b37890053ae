// SPDX-License-Identifier: Apache-2.0
#include "cli/named_object.h"

#include <utility>

#include "cli/exit_status.h"
#include "cli/parameters.h"
#include "cli/permission.h"
#include "cli/request.h"
#include "db/text_field.h"
#include "diag/trace.h"

int create_or_delete(const sch_cli_cmd_ctx *ctx, const NamedObject &object) {
  if (ctx->skip != 0) return exit_success;  // without taking over the debug flag, on purpose
  cli_debug = ctx->debug;
  const char *given = text_parameter(ctx, 1);
  const char *name = given != nullptr ? given : "";  // no name is refused as an empty one is
  SCH_TRACE_CLI(object.received_trace, name);
  if (!name_allowed(name) || !user_allowed(ctx)) return exit_failure;
  const bool negate = ctx->negate != 0;
  RequestRecord record(negate ? object.delete_opcode : object.create_opcode, object.payload_length);
  if (!record) return exit_memory;
  auto *payload = record.payload<sch_named_request>();
  payload->negate = ctx->negate;
  copy_text(payload->name, name);
  SCH_TRACE_CLI(negate ? object.delete_trace : object.create_trace, name);
  const uint32_t status = exchange(std::move(record), ctx);
  return status == 0 ? exit_success : object.report(negate, status);
}
