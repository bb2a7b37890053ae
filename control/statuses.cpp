// SPDX-License-Identifier: Apache-2.0
#include "control/statuses.h"

#include <algorithm>
#include <string>

#include "host/errors.h"
#include "schedcli_requests.h"

namespace control {

namespace {

static_assert(SCH_MAX_JOBS == 256 && SCH_MAX_EMAIL_IDS == 10, "the texts name these limits");

// Each says what is wrong and, where an operator can do something about it, what to do.
constexpr host::ErrorText error_texts[] = {
    {err_no_such_job, "no such job"},
    {err_no_such_schedule, "no such schedule"},
    {err_job_table_full, "the job table is full: it holds 256 jobs of all users; delete one first"},
    {err_bad_name, "the name is not valid"},
    {err_not_owner, "it belongs to another user"},
    {err_already_assigned, "the job is assigned to the schedule already"},
    {err_not_assigned, "the job is not assigned to the schedule"},
    {err_not_stored, "it could not be stored, so nothing was changed; see the system log"},
    {err_disabled, "the scheduler feature is disabled; enable it with 'feature scheduler'"},
    {err_too_many_addresses, "the schedule has its 10 e-mail addresses already; remove one first"},
    {err_no_such_address, "no such e-mail address"},
    {err_no_such_run, "no such run is under way"},
    {err_run_under_way, "a run of the schedule is under way"},
    {err_not_allowed,
     "this user is in no group that may configure the scheduler; ask the administrator, who sets 'allow-groups'"},
    {err_no_jobs, "no job is assigned to the schedule"},
    {err_no_history_of_run, "no such run in the history of the schedules that you may see"},
    {err_no_output_of_run, "the job log has no output of such a run of yours, or no longer has it"},
    {err_standby,
     "the scheduler service is in standby and runs nothing; ask the active one, or have this one take over by "
     "'scheduler take-over'"},
    {err_active, "the scheduler service is active already"},
    {err_control_character,
     "the text has a control character other than tab and newline, or one that hides text or changes its direction"},
    {err_bad_configuration, "the configuration cannot be used, so nothing was changed"},
    {err_changed_since, "the configuration has changed since it was read, so nothing was changed now"},
    {err_unconfirmed,
     "a configuration waits for its confirmation; give 'configure confirm', or wait until it is rolled back"},
    {err_nothing_to_confirm, "no configuration waits for a confirmation"},
    {err_no_such_configuration, "no such configuration is kept; see 'show configuration history'"},
    {err_no_startup, "no startup configuration has been saved"},
};

// With the limit in use between the two parts.
constexpr struct {
  uint32_t code;
  uint32_t ConfiguredLimits::*limit;
  const char *before, *after;
} limit_texts[] = {
    {err_text_too_long, &ConfiguredLimits::job_text, "the job's text is longer than the ",
     " bytes that 'job-text' allows"},
    {err_too_many_schedules, &ConfiguredLimits::schedules, "the limit of ",
     " schedules of all users is reached; delete one, or ask the administrator to raise 'schedules'"},
    {err_too_many_own_schedules, &ConfiguredLimits::schedules_per_user, "the limit of ",
     " schedules of one user is reached; delete one, or ask the administrator to raise 'schedules-per-user'"},
    {err_too_many_own_jobs, &ConfiguredLimits::jobs_per_user, "the limit of ",
     " jobs of one user is reached; delete one, or ask the administrator to raise 'jobs-per-user'"},
    {err_log_too_large, &ConfiguredLimits::log_size, "the log may not be larger than the ",
     " KB that 'log-size' allows"},
};

LimitsSource limits_in_use;

const char *text_of(uint32_t code) {
  const auto found = std::ranges::find_if(limit_texts, [code](const auto &text) { return text.code == code; });
  if (found == std::end(limit_texts)) return host::find_text(error_texts, code);
  static std::string text;
  const ConfiguredLimits limits = limits_in_use ? limits_in_use() : ConfiguredLimits();
  text = found->before + std::to_string(limits.*found->limit) + found->after;
  return text.c_str();
}

}  // namespace

void use_error_texts(LimitsSource limits) {
  limits_in_use = std::move(limits);
  host::use_error_texts(text_of);
}

}  // namespace control
