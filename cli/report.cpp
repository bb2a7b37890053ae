// SPDX-License-Identifier: Apache-2.0
#include "cli/report.h"

#include <cstdio>

#include "cli/exit_status.h"
#include "platform/errors.h"

void report_status(const char *what, uint32_t status) {
  std::fputs(what, stderr);
  std::fprintf(stderr, ": %s\n", syserr2str(status));
}

int report_missing_parameter() {
  std::fputs("Error: missing or unsuitable parameter\n", stderr);
  return exit_failure;
}

int report_no_memory() {
  std::fputs("Could not allocate memory\n", stderr);
  return exit_memory;
}
