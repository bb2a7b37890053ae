// SPDX-License-Identifier: Apache-2.0
// Whether a command may be sent at all. Both report what they refuse.
#pragma once

#include "schedcli.h"

bool name_allowed(const char *name);
bool user_allowed(const sch_cli_cmd_ctx *ctx);
