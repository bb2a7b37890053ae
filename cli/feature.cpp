// SPDX-License-Identifier: Apache-2.0
// Turning the scheduler on and off.
#include "platform/feature.h"

#include "cli/exit_status.h"
#include "cli/report.h"
#include "db/text_field.h"
#include "schedcli.h"

namespace {

constexpr char feature_name[] = "scheduler";

struct FeatureChange {
  uint32_t operation;
  uint32_t tolerated_status;  // reported to the operator, but a success to the shell
};
constexpr FeatureChange enabling = {3, 0x40aa0005};
constexpr FeatureChange disabling = {4, 0x40aa0006};

}  // namespace

int sch_enable_scheduler(const sch_cli_cmd_ctx *ctx) {
  if (ctx->feature_skip != 0) return exit_success;
  cli_debug = ctx->debug;
  const FeatureChange &change = ctx->negate != 0 ? disabling : enabling;
  const uint32_t status = fm_cmi_set_feature_wait(ctx->shell_handle, feature_name, FieldText(ctx->user_name).text,
                                                  FieldText(ctx->peer_name).text, change.operation);
  if (status != 0) {
    report_status("Error", status);
    return status == change.tolerated_status ? exit_success : exit_refused;
  }
  if (ctx->negate != 0) vsh_deregister_parse_tree(ctx->shell_handle, feature_name);
  return exit_success;
}
