// SPDX-License-Identifier: Apache-2.0
// What handlers tell the operator about failures, on standard error.
#pragma once

#include <cstdint>

// `what`, then ": <text of the status>".
void report_status(const char *what, uint32_t status);

// Each returns the handler's exit status.
int report_missing_parameter();
int report_no_memory();
