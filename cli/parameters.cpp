// SPDX-License-Identifier: Apache-2.0
#include "cli/parameters.h"

const sch_cli_param *parameter(const sch_cli_cmd_ctx *ctx, unsigned number) {
  if (number > ctx->param_count || ctx->params == nullptr) return nullptr;
  const sch_cli_param *param = ctx->params[number - 1];
  return param != nullptr && param->value != nullptr ? param : nullptr;
}

const char *text_parameter(const sch_cli_cmd_ctx *ctx, unsigned number) {
  const sch_cli_param *param = parameter(ctx, number);
  return param != nullptr && !is_integer(*param) ? static_cast<const char *>(param->value) : nullptr;
}

const uint32_t *integer_parameter(const sch_cli_cmd_ctx *ctx, unsigned number) {
  const sch_cli_param *param = parameter(ctx, number);
  return param != nullptr && !is_string(*param) ? static_cast<const uint32_t *>(param->value) : nullptr;
}

bool is_string(const sch_cli_param &param) {
  return param.kind == SCH_PARAM_STRING;
}

bool is_integer(const sch_cli_param &param) {
  return param.kind == SCH_PARAM_INTEGER;
}
