// SPDX-License-Identifier: Apache-2.0
// A command's parameters, numbered from 1. A parameter that is not there, holds no value or is of the other kind reads
// as null: nothing is read behind the parameters that there are.
#pragma once

#include <cstdint>

#include "schedcli.h"

const sch_cli_param *parameter(const sch_cli_cmd_ctx *ctx, unsigned number);

// By what the command's grammar says of the position: only a value known to be of the other kind is refused.
const char *text_parameter(const sch_cli_cmd_ctx *ctx, unsigned number);
const uint32_t *integer_parameter(const sch_cli_cmd_ctx *ctx, unsigned number);

// By the kind that the shell has found.
bool is_string(const sch_cli_param &param);
bool is_integer(const sch_cli_param &param);
