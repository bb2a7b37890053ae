// SPDX-License-Identifier: Apache-2.0
// Creating and deleting schedules.
#include "cli/exit_status.h"
#include "cli/named_object.h"
#include "cli/report.h"
#include "schedcli_requests.h"

namespace {

// Deliberately unlike the jobs': a schedule that exists is no message, and a failed deletion hands its status on.
int report_schedule_failure(bool negate, uint32_t status) {
  if (negate) {
    report_status("Error: delete schedule failed", status);
    return static_cast<int>(status);
  }
  if (status == SCH_STATUS_EXISTS) return static_cast<int>(status);
  report_status("Error: create schedule failed", status);
  return exit_failure;
}

constexpr NamedObject schedule_object = {
    SCH_OP_CREATE_SCHEDULE,
    SCH_OP_DELETE_SCHEDULE,
    sizeof(sch_named_request),
    "scheduler stub received schedule name %s",
    "scheduler stub enqueing create schedule name %s",
    "scheduler stub enqueing delete schedule name %s",
    report_schedule_failure,
};

}  // namespace

int sch_cli_create_delete_schedule(const sch_cli_cmd_ctx *ctx) {
  return create_or_delete(ctx, schedule_object);
}
