// SPDX-License-Identifier: Apache-2.0
// The configuration as command blocks to paste back. Its layout differs in small ways from the generated configuration
// text; both are meant.
#include <cstdio>

#include "cli/exit_status.h"
#include "show/line.h"
#include "show/paging.h"
#include "show/status.h"

namespace {

void print_end() {
  std::fputs("end\n\n", stdout);
}

}  // namespace

void print_config_job(const sch_show_job_reply *reply) {
  std::puts("config terminal");
  std::printf(" scheduler job name %.32s\n", reply->name);
  show::print_bytes(reinterpret_cast<const char *>(reply + 1), reply->length);
  print_end();
}

void print_config_assigned_job(const char *name) {
  std::printf("    job name %.32s\n", name);
}

void print_config_schedule_email_addr(const sch_show_schedule_reply *reply) {
  if (reply->email_count == 0) return;
  for (const sch_email_slot &slot : reply->emails) {
    if (slot.in_use != 0) std::printf("    email-addr %.64s\n", slot.address);
  }
}

void print_config_schedule(const sch_show_schedule_reply *reply) {
  std::puts("config terminal");
  std::printf("  scheduler schedule name %.32s\n    ", reply->name);
  print_config_schedule_type(&reply->time, nullptr);
  const sch_job_status_entry *entries = show::status_entries(reply);
  for (int32_t i = 0; i < reply->job_count; ++i)
    print_config_assigned_job(entries[i].name);
  print_config_schedule_email_addr(reply);
  print_end();
}

int get_job_config(const sch_cli_cmd_ctx *ctx) {
  cli_debug = ctx->debug;
  return show::show_pages(ctx, show::jobs, show::Naming::withheld, print_config_job);
}

int get_schedule_config(const sch_cli_cmd_ctx *ctx) {
  cli_debug = ctx->debug;
  return show::show_pages(ctx, show::schedules, show::Naming::withheld, print_config_schedule);
}

int sch_cli_show_config(const sch_cli_cmd_ctx *ctx) {
  get_log_file_config(ctx);
  sch_cli_get_email_transport_config(ctx);
  print_end();  // closes the block that the log-file lines opened
  get_job_config(ctx);
  get_schedule_config(ctx);
  return exit_success;
}
