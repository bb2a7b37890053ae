// SPDX-License-Identifier: Apache-2.0
#include "cli/permission.h"

#include <regex.h>

#include <cstdio>

#include "cli/report.h"
#include "db/text_field.h"

namespace {

bool matches_name_rule(const char *name) {
  regex_t rule;
  if (regcomp(&rule, "^[0-9A-Za-z][0-9A-Za-z_-]*$", 0) != 0) return false;
  const bool matches = regexec(&rule, name, 0, nullptr, 0) == 0;
  regfree(&rule);
  return matches;
}

}  // namespace

bool name_allowed(const char *name) {
  if (matches_name_rule(name)) return true;
  std::fputs("Invalid name. Name should begin with alphanumeric and may have '_' or '-'.\n", stderr);
  return false;
}

bool user_allowed(const sch_cli_cmd_ctx *ctx) {
  const FieldText user_name(ctx->user_name);
  // Asked twice on purpose: the second answer counts as much as the first.
  for (int round = 0; round < 2; ++round) {
    const uint32_t status = sch_validate_remote_user(ctx->shell_handle, user_name.text);
    if (status != 0) {
      report_status("Error", status);
      return false;
    }
  }
  return true;
}
