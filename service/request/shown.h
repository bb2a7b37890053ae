// SPDX-License-Identifier: Apache-2.0
// All that show commands show, at once, as text and as documents of the module yang/schedcli.yang. Documents are made
// from the service's data, never from its text.
#pragma once

#include "control/operations.h"
#include "service/request/operation_row.h"

namespace service {

host::Answer show_memory();
host::Answer memory_document(const Call &call, Payload payload);
host::Answer show_debug_history();
host::Answer debug_history_document(const Call &call, Payload payload);
host::Answer logging_level_in_use();
host::Answer logging_document(const Call &call, Payload payload);
host::Answer zone_in_use();
host::Answer clock_document(const Call &call, Payload payload);
host::Answer version_document(const Call &call, Payload payload);
host::Answer show_status(const Call &call, Payload payload);
host::Answer status_document(const Call &call, Payload payload);
host::Answer show_metrics(const Call &call, Payload payload);

host::Answer show_running(const Call &call, Payload payload);
host::Answer running_document(const Call &call, Payload payload);
host::Answer show_startup(const Call &call, Payload payload);
host::Answer startup_document(const Call &call, Payload payload);
host::Answer scheduler_config_document(const Call &call, Payload payload);
host::Answer show_configuration_history(const Call &call, Payload payload);
host::Answer configuration_history_document(const Call &call, Payload payload);
host::Answer difference_document(const Call &call, Payload payload);

host::Answer show_overview(const Call &call, Payload payload);  // a line for each schedule
host::Answer overview_document(const Call &call, Payload payload);
host::Answer schedules_document(const Call &call, Payload payload);
host::Answer jobs_document(const Call &call, Payload payload);
// Each schedule's next due time, the earliest first, then those that are disabled; or one schedule's next due times.
host::Answer show_upcoming(const Call &call, Payload payload);
host::Answer upcoming_document(const Call &call, Payload payload);

host::Answer show_history(const Call &call, Payload payload);  // runs, newest first; or one run with its jobs
host::Answer history_document(const Call &call, Payload payload);
// The stream of outcomes that SCH_OP_SHOW_LOG answers with, of those that are asked for.
host::Answer show_chosen_log(const Call &call, Payload payload);
host::Answer log_document(const Call &call, Payload payload);

inline constexpr Row shown[] = {
    row(control::Operation::memory_statistics, For::administrator, bare<show_memory>, memory_document),
    row(control::Operation::history, For::administrator, bare<show_debug_history>, debug_history_document),
    row(control::Operation::get_logging_level, For::everybody, bare<logging_level_in_use>, logging_document),
    row(control::Operation::get_zone, For::everybody, bare<zone_in_use>, clock_document),
    row(control::Operation::version, For::everybody, nullptr, version_document),
    row(control::Operation::status, For::everybody, show_status, status_document),
    row(control::Operation::metrics, For::administrator, show_metrics),

    row(control::Operation::running_text, For::everybody, show_running, running_document),
    row(control::Operation::startup_text, For::everybody, show_startup, startup_document),
    row(control::Operation::scheduler_config, For::everybody, nullptr, scheduler_config_document),
    row(control::Operation::configuration_history, For::everybody, show_configuration_history,
        configuration_history_document),
    {control::Operation::configuration_difference, For::everybody, sizeof(control::DifferenceQuery),
     sizeof(control::DifferenceQuery), nullptr, difference_document},

    row(control::Operation::overview, For::everybody, show_overview, overview_document),
    row(control::Operation::schedules, For::everybody, nullptr, schedules_document),
    row(control::Operation::jobs, For::everybody, nullptr, jobs_document),
    row(control::Operation::show_upcoming, For::everybody, show_upcoming, upcoming_document),

    row(control::Operation::show_history, For::everybody, show_history, history_document),
    {control::Operation::show_log, For::everybody, sizeof(control::LogQuery), sizeof(control::LogQuery),
     show_chosen_log, log_document},
};

}  // namespace service
