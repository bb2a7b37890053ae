// SPDX-License-Identifier: Apache-2.0
// A command's parameters, numbered from 1. One that is missing, has no value or is of another kind is null; nothing is
// read beyond the parameters that the shell has counted.
#pragma once

#include <cstdint>

#include "schedcli.h"

const sch_cli_param *parameter(const sch_cli_cmd_ctx *ctx, unsigned number);

// The caller knows the kind from the command's grammar: only a value that the shell marked as the other kind is
// refused.
const char *text_parameter(const sch_cli_cmd_ctx *ctx, unsigned number);
const uint32_t *integer_parameter(const sch_cli_cmd_ctx *ctx, unsigned number);

// For a position that takes either kind: what the shell has found there.
bool is_string(const sch_cli_param &param);
bool is_integer(const sch_cli_param &param);
