// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include "show/line.h"
#include "show/paging.h"

namespace {

constexpr int job_label_width = 10;  // "Job Name: "

void show_job(const sch_show_job_reply *reply) {
  display_job(reply);
  show::print_rule();
}

}  // namespace

void display_job(const sch_show_job_reply *reply) {
  std::printf("Job Name: %.32s\n", reply->name);
  show::print_underline(job_label_width, reply->name, sizeof reply->name);
  show::print_bytes(reinterpret_cast<const char *>(reply + 1), reply->length);
}

int sch_cli_show_jobs(const sch_cli_cmd_ctx *ctx) {
  cli_debug = ctx->debug;
  return show::show_pages(ctx, show::jobs, show::Naming::sent, show_job);
}
