// SPDX-License-Identifier: Apache-2.0
// Storing and removing a user's scheduler password.
#include "cli/parameters.h"
#include "cli/report.h"
#include "cli/security_user.h"

namespace {

// The shell's codes for this command.
constexpr int password_success = 8;
constexpr int password_failure = 9;

constexpr int platform_refusal = -1;  // already reported by the platform

bool take_parameter(const sch_cli_param &param, SecurityUser *user) {
  const auto *text = static_cast<const char *>(param.value);
  const bool usable = text != nullptr && is_string(param);
  switch (param.id) {
    case SCH_PARAM_USER_NAME:
      if (usable) copy_text((*user)->user_name, text);
      return usable;
    case SCH_PARAM_CLEAR_PASSWORD:
    case SCH_PARAM_SEALED_PASSWORD:
      if (usable) copy_text((*user)->password, text);
      (*user)->form = param.id == SCH_PARAM_CLEAR_PASSWORD ? password_clear : password_sealed;
      return usable;
    default:
      return true;
  }
}

bool take_parameters(const sch_cli_cmd_ctx *ctx, SecurityUser *user) {
  if (ctx->params == nullptr) return true;
  for (unsigned number = 0; number < ctx->param_count; ++number) {
    const sch_cli_param *param = ctx->params[number];
    if (param != nullptr && !take_parameter(*param, user)) return false;
  }
  return true;
}

// A stored password is tried at once, so that the operator learns of a wrong one now and not when the job runs.
int store(uint32_t shell_handle, SecurityUser *user) {
  const int result = user->apply(shell_handle, PasswordOperation::store);
  if (result != 0) return result;
  return static_cast<int>(sch_validate_authentication_passwd(shell_handle, (*user)->user_name));
}

int shell_code(int result) {
  if (result == 0) return password_success;
  if (result != platform_refusal) report_status("Error", static_cast<uint32_t>(result));
  return password_failure;
}

}  // namespace

int sch_cli_aaa_auth_passwd(const sch_cli_cmd_ctx *ctx) {
  SecurityUser user(FieldText(ctx->user_name).text);
  if (!take_parameters(ctx, &user)) return password_failure;
  return shell_code(ctx->negate != 0 ? user.apply(ctx->shell_handle, PasswordOperation::remove)
                                     : store(ctx->shell_handle, &user));
}
