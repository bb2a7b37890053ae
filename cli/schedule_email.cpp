// SPDX-License-Identifier: Apache-2.0
// The addresses that receive a schedule's output.
#include <utility>

#include "cli/exit_status.h"
#include "cli/parameters.h"
#include "cli/permission.h"
#include "cli/report.h"
#include "cli/request.h"
#include "db/text_field.h"
#include "diag/trace.h"

int sch_cli_modify_schedule_emailaddr(const sch_cli_cmd_ctx *ctx) {
  cli_debug = ctx->debug;
  if (!user_allowed(ctx)) return exit_failure;
  RequestRecord record(SCH_OP_SCHEDULE_EMAIL, sizeof(sch_schedule_email_request));
  if (!record) return exit_memory;
  const char *name = text_parameter(ctx, 1);
  const char *address = text_parameter(ctx, 2);
  if (name == nullptr || address == nullptr) return report_missing_parameter();
  auto *payload = record.payload<sch_schedule_email_request>();
  copy_text(payload->schedule, name);
  SCH_TRACE_CLI("modify schedule %s", name);
  payload->operation = ctx->negate != 0 ? SCH_EMAIL_REMOVE : SCH_EMAIL_ADD;
  SCH_TRACE_CLI("to_emailid <%s>", address);
  copy_text(payload->address, address);
  const uint32_t status = exchange(std::move(record), ctx);
  // The message lacks its "not" on purpose: scripts may look for it as it is.
  if (status != 0)
    report_status(ctx->negate != 0 ? "Error: could not delete email-id" : "Error: could add email-id", status);
  return static_cast<int>(status);
}
