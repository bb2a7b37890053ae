// SPDX-License-Identifier: Apache-2.0
// Changing a schedule: its time, or its jobs.
#include <cstdio>
#include <utility>

#include "cli/exit_status.h"
#include "cli/parameters.h"
#include "cli/permission.h"
#include "cli/report.h"
#include "cli/request.h"
#include "cli/schedule_time.h"
#include "db/text_field.h"
#include "diag/trace.h"

namespace {

bool changes_job(const sch_cli_cmd_ctx *ctx) {
  return ctx->subcommand == SCH_MODIFY_JOB;
}

bool form_exists(const sch_cli_cmd_ctx *ctx) {
  return ctx->negate == 0 || changes_job(ctx) || ctx->subcommand == SCH_MODIFY_CLEAR_TIME;
}

// The job's name is the service's to check.
int set_job(const sch_cli_cmd_ctx *ctx, sch_modify_request *payload) {
  const char *name = text_parameter(ctx, 2);
  if (name == nullptr) return report_missing_parameter();
  SCH_TRACE_CLI("job assign deassign");
  SCH_TRACE_CLI("job name <%s>", name);
  copy_text(payload->job, name);
  return exit_success;
}

int fill(const sch_cli_cmd_ctx *ctx, const char *name, sch_modify_request *payload) {
  payload->negate = ctx->negate;
  SCH_TRACE_CLI("modify schedule %s", name);
  payload->subcommand = ctx->subcommand;
  const LocalMoment now = local_now();
  return changes_job(ctx) ? set_job(ctx, payload) : set_schedule_time(ctx, now, &payload->time);
}

void trace_change(const sch_cli_cmd_ctx *ctx, const sch_tminfo &time_info) {
  print_tminfo(&time_info);
  if (changes_job(ctx)) {
    SCH_TRACE_CLI("enqueing request for job assign/deassign");
  } else {
    SCH_TRACE_CLI("time schedule change");
  }
}

const char *failure_text(const sch_cli_cmd_ctx *ctx) {
  if (!changes_job(ctx)) return "Error: modify schedule failed";
  return ctx->negate != 0 ? "Error: could not deassign job" : "Error: could not assign job";
}

void announce_start(time_t start) {
  char text[26];
  std::printf("Schedule starts from %s", ctime_r(&start, text));
}

}  // namespace

int sch_cli_modify_schedule(const sch_cli_cmd_ctx *ctx) {
  cli_debug = ctx->debug;
  if (!user_allowed(ctx)) return exit_failure;
  RequestRecord record(SCH_OP_MODIFY_SCHEDULE, sizeof(sch_modify_request));
  if (!record) return exit_memory;
  const char *name = text_parameter(ctx, 1);
  if (name == nullptr) return report_missing_parameter();
  auto *payload = record.payload<sch_modify_request>();
  copy_text(payload->schedule, name);
  if (!form_exists(ctx)) {
    std::puts("Invalid command");
    return exit_bad_form;
  }
  const int result = fill(ctx, name, payload);
  if (result != exit_success) return result;
  trace_change(ctx, payload->time);
  const time_t start = payload->time.start_time;
  const uint32_t status = exchange(std::move(record), ctx);
  if (status != 0) {
    report_status(failure_text(ctx), status);
  } else if (start_is_assumed(ctx)) {
    announce_start(start);
  }
  return static_cast<int>(status);
}
