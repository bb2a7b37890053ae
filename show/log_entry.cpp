// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include "show/line.h"
#include "show/status.h"

namespace {

constexpr int heading_dashes = 33;

void print_output_heading() {
  print_line(heading_dashes, '-');
  std::fputs(" Job Output ", stdout);
  print_line(heading_dashes, '-');
  std::putchar('\n');
}

}  // namespace

void display_log_entry(const sch_log_entry *entry, const char *output) {
  // The whole wait status decides, so that a job killed by a signal has failed, with exit code 0.
  const bool failed = entry->wait_status != 0;
  std::printf("Job Name       : %-32.32s  Job Status: %s (%d)\n", entry->job, failed ? "Failed" : "Success",
              show::exit_code(entry->wait_status));
  std::printf("Schedule Name  : %-32.32s  User Name : %.40s\n", entry->schedule, entry->user);
  std::fputs("Completion time: ", stdout);
  show::print_time(entry->completion);
  print_output_heading();
  show::print_bytes(output, entry->total_length);
  show::print_rule();
}
