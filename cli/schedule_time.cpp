// SPDX-License-Identifier: Apache-2.0
#include "cli/schedule_time.h"

#include <cstdio>

#include "cli/exit_status.h"
#include "cli/parameters.h"
#include "cli/report.h"
#include "diag/trace.h"

namespace {

constexpr int not_given = -1;
constexpr time_t assumed_start_delay = 120;
constexpr int32_t longest_refused_period = 59;

int refuse(uint32_t code, uint32_t schedule_type) {
  sch_cli_disp_error(code, schedule_type);
  return exit_bad_form;
}

// The time functions return an error negated; sch_cli_disp_error() takes it positive.
int refuse_result(int result, uint32_t schedule_type) {
  return refuse(static_cast<uint32_t>(-result), schedule_type);
}

void keep_day(sch_tminfo *, const tm &) {}

void complete_weekday(sch_tminfo *time_info, const tm &now) {
  if (time_info->day_of_week == not_given) time_info->day_of_week = now.tm_wday + 1;
}

// The parser has put the day into day_of_week.
void complete_day_of_month(sch_tminfo *time_info, const tm &now) {
  time_info->day_of_month = time_info->day_of_week == not_given ? now.tm_mday : time_info->day_of_week;
  time_info->day_of_week = 0;
}

struct RecurringForm {
  uint32_t type;
  const char *trace;
  bool has_day;
  void (*complete_day)(sch_tminfo *time_info, const tm &now);
};

constexpr RecurringForm daily_form = {SCH_SCHEDULE_DAILY, "daily <%s>", false, keep_day};
constexpr RecurringForm weekly_form = {SCH_SCHEDULE_WEEKLY, "weekly <%s>", true, complete_weekday};
constexpr RecurringForm monthly_form = {SCH_SCHEDULE_MONTHLY, "monthly <%s>", true, complete_day_of_month};

int set_recurring(const RecurringForm &form, const char *text, const tm &now, sch_tminfo *time_info) {
  if (text == nullptr) return report_missing_parameter();
  SCH_TRACE_CLI(form.trace, text);
  if (form.has_day) time_info->day_of_week = not_given;
  time_info->hour = not_given;
  if (sch_parse_str_to_tminfo(text, time_info) < 0) return refuse(SCH_STATUS_BAD_TIME_FORMAT, form.type);
  time_info->type = form.type;
  if (time_info->hour == not_given) time_info->hour = now.tm_hour;
  form.complete_day(time_info, now);
  const int result = sch_verify_tminfo(time_info);
  return result < 0 ? refuse_result(result, form.type) : exit_success;
}

int set_oneshot(const char *text, const tm &now, sch_tminfo *time_info) {
  if (text == nullptr) return report_missing_parameter();
  SCH_TRACE_CLI("oneshot <%s>", text);
  const int result = get_start_time(text, time_info, &now);
  if (result >= 0) return exit_success;
  print_tminfo(time_info);
  return refuse_result(result, SCH_SCHEDULE_ONESHOT);
}

int find_start(const sch_cli_cmd_ctx *ctx, const LocalMoment &now, sch_tminfo *time_info, time_t *start) {
  if (start_is_assumed(ctx)) {
    *start = now.seconds + assumed_start_delay;
    return exit_success;
  }
  const char *text = text_parameter(ctx, 2);
  if (text == nullptr) return report_missing_parameter();
  const int result = get_start_time(text, time_info, &now.calendar);
  if (result < 0) return refuse_result(result, SCH_SCHEDULE_ONESHOT);
  *start = mktime_from_tminfo(time_info);
  return exit_success;
}

int set_period(const char *text, time_t start, sch_tminfo *time_info) {
  if (text == nullptr) return report_missing_parameter();
  time_info->year = time_info->month = time_info->day_of_month = not_given;
  time_info->day_of_week = time_info->hour = 0;
  if (sch_parse_str_to_tminfo(text, time_info) < 0) return refuse(SCH_STATUS_BAD_TIME_FORMAT, SCH_SCHEDULE_PERIODIC);
  time_info->start_time = static_cast<int32_t>(start);
  time_info->type = SCH_SCHEDULE_PERIODIC;
  // Whatever the verification finds is shown as out of range.
  if (sch_verify_tminfo(time_info) < 0) return refuse(SCH_STATUS_TIME_OUT_OF_RANGE, SCH_SCHEDULE_PERIODIC);
  int32_t period = 0;
  sch_compute_delta(time_info, &period);
  if (period > longest_refused_period) return exit_success;
  std::puts("Interval cannot be zero");
  return exit_bad_form;
}

int set_start_and_period(const sch_cli_cmd_ctx *ctx, const LocalMoment &now, sch_tminfo *time_info) {
  time_t start = 0;
  const int result = find_start(ctx, now, time_info, &start);
  if (result != exit_success) return result;
  return set_period(text_parameter(ctx, start_is_assumed(ctx) ? 2 : 3), start, time_info);
}

}  // namespace

LocalMoment local_now() {
  tzset();  // the zone may have been changed while the shell ran
  LocalMoment now{time(nullptr), {}};
  localtime_r(&now.seconds, &now.calendar);
  return now;
}

bool start_is_assumed(const sch_cli_cmd_ctx *ctx) {
  return ctx->subcommand == SCH_SCHEDULE_PERIODIC && ctx->param_count == 2;
}

int set_schedule_time(const sch_cli_cmd_ctx *ctx, const LocalMoment &now, sch_tminfo *time_info) {
  switch (ctx->subcommand) {
    case SCH_SCHEDULE_ONESHOT:
      return set_oneshot(text_parameter(ctx, 2), now.calendar, time_info);
    case SCH_SCHEDULE_DAILY:
      return set_recurring(daily_form, text_parameter(ctx, 2), now.calendar, time_info);
    case SCH_SCHEDULE_WEEKLY:
      return set_recurring(weekly_form, text_parameter(ctx, 2), now.calendar, time_info);
    case SCH_SCHEDULE_MONTHLY:
      return set_recurring(monthly_form, text_parameter(ctx, 2), now.calendar, time_info);
    case SCH_SCHEDULE_PERIODIC:
      return set_start_and_period(ctx, now, time_info);
    default:
      return exit_success;  // no time: type 0, all zero
  }
}
