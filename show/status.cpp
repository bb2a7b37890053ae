// SPDX-License-Identifier: Apache-2.0
#include "show/status.h"

#include <cstdio>

namespace {

constexpr int heading_width = 47;

void print_heading_rule() {
  print_line(heading_width, '-');
  std::putchar('\n');
}

}  // namespace

void print_status_heading() {
  print_heading_rule();
  std::puts("     Job Name            Last Execution Status");
  print_heading_rule();
}

void print_status(const sch_job_status_entry *entry, int not_yet_run) {
  const int code = show::exit_code(entry->wait_status);
  if (not_yet_run != 0) {
    std::printf("    %-32.32s      -NA-\n", entry->name);
  } else {
    std::printf("%-32.32s  %s (%d)\n", entry->name, code == 0 ? "Success" : "Failed ", code);
  }
}
