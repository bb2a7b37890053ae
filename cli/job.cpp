// SPDX-License-Identifier: Apache-2.0
// The job commands.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "cli/exit_status.h"
#include "cli/job_text.h"
#include "cli/named_object.h"
#include "cli/parameters.h"
#include "cli/permission.h"
#include "cli/report.h"
#include "cli/request.h"
#include "db/text_field.h"
#include "diag/trace.h"

namespace {

int report_job_failure(bool negate, uint32_t status) {
  if (status == SCH_STATUS_EXISTS) {
    std::fputs("Error: job exists\n", stderr);
  } else {
    report_status(negate ? "Error: delete job failed" : "Error: create job failed", status);
  }
  return exit_failure;
}

constexpr NamedObject job_object = {
    SCH_OP_CREATE_JOB,
    SCH_OP_DELETE_JOB,
    sizeof(sch_job_request),
    "scheduler stub received job name %s",
    "scheduler stub enqueing create job name %s",
    "scheduler stub enqueing delete job name %s",
    report_job_failure,
};

constexpr size_t traced_text = 512;  // a trace holds no more

// The text has no terminator of its own.
void trace_text(const char *text, uint32_t text_length) {
  char shown[traced_text] = {};
  std::copy_n(text, std::min<size_t>(text_length, sizeof shown - 1), shown);
  SCH_TRACE_CLI("length %d data %s", static_cast<int>(text_length), shown);
}

}  // namespace

int sch_cli_create_delete_job(const sch_cli_cmd_ctx *ctx) {
  return create_or_delete(ctx, job_object);
}

// Unlike the other handlers it leaves cli_debug as it is, ignores `skip` and does not check the user; so does
// sch_cli_define_job. Both are meant.
int sch_cli_semicolon_delimiter_define_job(const sch_cli_cmd_ctx *ctx) {
  const char *name = text_parameter(ctx, 1);
  if (name == nullptr) {
    SCH_TRACE_CLI("scheduler stub received NULL job name");
    return exit_failure;
  }
  SCH_TRACE_CLI("scheduler stub received job name %s", name);
  if (!name_allowed(name)) return exit_failure;
  const char *text = text_parameter(ctx, 2);
  if (text == nullptr) {
    SCH_TRACE_CLI("scheduler stub received NULL job-data");
    return exit_failure;
  }
  JobText lines;
  if (!collect_lines(text, &lines)) return exit_memory;
  const FieldText user_name(ctx->user_name);
  const FieldText peer_name(ctx->peer_name);
  return sch_cli_define_job(ctx->shell_handle, lines.bytes.get(), static_cast<uint32_t>(lines.used), name,
                            user_name.text, peer_name.text);
}

int sch_cli_define_job(uint32_t shell_handle, const char *text, uint32_t text_length, const char *job_name,
                       const char *user_name, const char *peer_name) {
  if (job_name == nullptr || (text == nullptr && text_length != 0)) return report_missing_parameter();
  RequestRecord record(SCH_OP_DEFINE_JOB, uint64_t{sizeof(sch_job_request)} + text_length);
  if (!record) return exit_memory;
  auto *payload = record.payload<sch_job_request>();
  copy_text(payload->head.name, job_name);
  payload->text_length = text_length;
  std::copy_n(text, text_length, reinterpret_cast<char *>(payload + 1));
  SCH_TRACE_CLI("scheduler stub enqueing define job name %s", job_name);
  trace_text(text, text_length);
  const uint32_t status = exchange(std::move(record), shell_handle, user_name, peer_name);
  if (status != 0) report_status("Error: job definition failed", status);
  return static_cast<int>(status);
}
