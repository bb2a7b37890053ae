// SPDX-License-Identifier: Apache-2.0
// The commands of the job log file.
#include <sys/stat.h>

#include <cstdio>
#include <utility>

#include "cli/exit_status.h"
#include "cli/parameters.h"
#include "cli/report.h"
#include "cli/request.h"
#include "db/text_field.h"
#include "diag/trace.h"
#include "platform/uri.h"

namespace {

// The platform writes into a field of the request. It need not terminate a text that fills the field.
template <size_t Size>
void terminate(char (&field)[Size]) {
  field[Size - 1] = '\0';
}

bool exists(const char *path) {
  struct stat status;
  return stat(path, &status) == 0;
}

int send(RequestRecord record, const sch_cli_cmd_ctx *ctx) {
  record.payload<sch_log_file_request>()->negate = ctx->negate;
  const uint32_t status = exchange(std::move(record), ctx);
  if (status != 0) report_status("Error: ", status);  // reads "Error: : <text>": meant
  return static_cast<int>(status);
}

}  // namespace

int sch_cli_logfile_resize(const sch_cli_cmd_ctx *ctx) {
  cli_debug = ctx->debug;
  RequestRecord record(SCH_OP_RESIZE_LOG, sizeof(sch_log_file_request));
  if (!record) return exit_memory;
  auto *payload = record.payload<sch_log_file_request>();
  if (ctx->negate != 0) {
    payload->size = SCH_LOG_SIZE_DEFAULT;
  } else {
    const uint32_t *kilobytes = integer_parameter(ctx, 1);
    if (kilobytes == nullptr) return report_missing_parameter();
    payload->size = *kilobytes * SCH_LOG_SIZE_UNIT;
    SCH_TRACE_CLI("log file size is %d\n", static_cast<int>(*kilobytes));
  }
  return send(std::move(record), ctx);
}

int sch_cli_logfile_rename(const sch_cli_cmd_ctx *ctx) {
  cli_debug = ctx->debug;
  RequestRecord record(SCH_OP_RENAME_LOG, sizeof(sch_log_file_request));
  if (!record) return exit_memory;
  auto *payload = record.payload<sch_log_file_request>();
  if (ctx->negate != 0) {
    copy_text(payload->name, SCH_LOG_NAME_DEFAULT);
    copy_text(payload->uri, SCH_LOG_URI_DEFAULT);
    return send(std::move(record), ctx);
  }
  const sch_cli_param *file = parameter(ctx, 1);
  if (file == nullptr) return report_missing_parameter();
  uri_map_targetfs_path_get(file->value, payload->name, sizeof payload->name);
  terminate(payload->name);
  if (exists(payload->name)) {
    std::fputs("Error: File exists.\n", stderr);
    return exit_success;  // meant, although nothing is sent
  }
  snprintf_uri_len(payload->uri, sizeof payload->uri, file->value);
  terminate(payload->uri);
  SCH_TRACE_CLI("log file name is %s\n", payload->name);
  return send(std::move(record), ctx);
}

int sch_cli_logfile_clear(const sch_cli_cmd_ctx *ctx) {
  cli_debug = ctx->debug;
  RequestRecord record(SCH_OP_CLEAR_LOG, sizeof(sch_log_file_request));
  if (!record) return exit_memory;
  SCH_TRACE_CLI("log file size is %d\n",
                static_cast<int>(record.payload<sch_log_file_request>()->size));  // meant: always 0
  return send(std::move(record), ctx);
}

// Stands where the shell expects a configuration generation for these commands.
int sch_cli_dummy_cfg_gen() {
  return 0;
}
