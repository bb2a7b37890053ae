// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include "show/line.h"
#include "show/paging.h"
#include "show/status.h"

namespace {

constexpr int schedule_label_width = 22;  // "Schedule Name       : "

// The two indentations of the empty table differ; both are meant.
constexpr char no_jobs_after_run[] = "              No jobs assigned to schedule";
constexpr char no_jobs_before_run[] = "          No jobs assigned to schedule";

void print_history(const sch_show_schedule_reply *reply) {
  std::fputs("Last Execution Time : ", stdout);
  show::print_time(reply->last_execution);
  std::fputs("Last Completion Time: ", stdout);
  show::print_time(reply->last_completion);
  std::printf("Execution count     : %d\n", reply->execution_count);
}

void show_schedule(const sch_show_schedule_reply *reply) {
  display_schedule(reply);
  show::print_rule();
}

}  // namespace

void display_schedule(const sch_show_schedule_reply *reply) {
  const bool has_run = reply->last_completion != 0;
  std::printf("Schedule Name       : %.32s\n", reply->name);
  show::print_underline(schedule_label_width, reply->name, sizeof reply->name);
  std::printf("User Name           : %.40s\n", reply->user);
  print_schedule_type(&reply->time);
  if (reply->time.type == SCH_SCHEDULE_PERIODIC) {
    std::fputs("Start Time          : ", stdout);
    show::print_time(reply->time.start_time);
  }
  if (has_run) {
    print_history(reply);
  } else {
    std::puts("Last Execution Time : Yet to be executed");
  }
  print_status_heading();
  if (reply->job_count == 0) std::puts(has_run ? no_jobs_after_run : no_jobs_before_run);
  const sch_job_status_entry *entries = show::status_entries(reply);
  for (int32_t i = 0; i < reply->job_count; ++i)
    print_status(&entries[i], !has_run);
}

int sch_cli_show_schedules(const sch_cli_cmd_ctx *ctx) {
  cli_debug = ctx->debug;
  return show::show_pages(ctx, show::schedules, show::Naming::sent, show_schedule);
}
