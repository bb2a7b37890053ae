// SPDX-License-Identifier: Apache-2.0
// Creating and deleting jobs and schedules, which differ by their opcodes, traces and failure reports alone.
#pragma once

#include <cstdint>

#include "schedcli.h"

struct NamedObject {
  uint32_t create_opcode;
  uint32_t delete_opcode;
  uint32_t payload_length;     // of a record that begins with sch_named_request
  const char *received_trace;  // the traces' formats, each with the name
  const char *create_trace;
  const char *delete_trace;
  int (*report)(bool negate, uint32_t status);  // a failure, to the operator and as the handler's result
};

int create_or_delete(const sch_cli_cmd_ctx *ctx, const NamedObject &object);
