// SPDX-License-Identifier: Apache-2.0
#include "control/statuses.h"

#include "host/errors.h"
#include "schedcli_requests.h"

namespace control {

namespace {

static_assert(SCH_MAX_JOBS == 256 && SCH_MAX_EMAIL_IDS == 10 && SCH_JOB_TEXT_LIMIT == 61440 &&
                  SCH_LOG_SIZE_MAX / SCH_LOG_SIZE_UNIT == 16384,
              "the texts name these limits");

// Each says what is wrong and, where an operator can do something about it, what to do.
constexpr host::ErrorText error_texts[] = {
    {err_no_such_job, "no such job"},
    {err_no_such_schedule, "no such schedule"},
    {err_job_table_full, "the job table is full: it holds 256 jobs of all users; delete one first"},
    {err_bad_name, "the name is not valid"},
    {err_not_owner, "it belongs to another user"},
    {err_text_too_long, "the job's text is longer than the 61440 bytes that 'job-text' allows unless configured"},
    {err_already_assigned, "the job is assigned to the schedule already"},
    {err_not_assigned, "the job is not assigned to the schedule"},
    {err_too_many_schedules,
     "the limit of schedules of all users (10000 unless configured) is reached; delete one, or ask the administrator "
     "to raise 'schedules'"},
    {err_too_many_own_schedules,
     "the limit of schedules of one user (1000 unless configured) is reached; delete one, or ask the administrator to "
     "raise 'schedules-per-user'"},
    {err_too_many_own_jobs,
     "the limit of jobs of one user (64 unless configured) is reached; delete one, or ask the administrator to raise "
     "'jobs-per-user'"},
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
    {err_log_too_large, "the log may not be larger than the 16384 KB that 'log-size' allows unless configured"},
    {err_bad_configuration, "the configuration cannot be used, so nothing was changed"},
    {err_changed_since, "the configuration has changed since it was read, so nothing was changed now"},
    {err_unconfirmed,
     "a configuration waits for its confirmation; give 'configure confirm', or wait until it is rolled back"},
    {err_nothing_to_confirm, "no configuration waits for a confirmation"},
    {err_no_such_configuration, "no such configuration is kept; see 'show configuration history'"},
    {err_no_startup, "no startup configuration has been saved"},
};

}  // namespace

void use_error_texts() {
  host::use_error_texts(error_texts);
}

}  // namespace control
