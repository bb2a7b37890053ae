// SPDX-License-Identifier: Apache-2.0
// Statuses of the scheduler service beyond those of schedcli.h and of the host.
#pragma once

#include <cstdint>
#include <functional>

#include "control/limits.h"

namespace control {

inline constexpr uint32_t err_no_such_job = 0x40bd0020;
inline constexpr uint32_t err_no_such_schedule = 0x40bd0021;
inline constexpr uint32_t err_job_table_full = 0x40bd0022;
inline constexpr uint32_t err_bad_name = 0x40bd0023;
inline constexpr uint32_t err_not_owner = 0x40bd0024;
inline constexpr uint32_t err_text_too_long = 0x40bd0025;
inline constexpr uint32_t err_already_assigned = 0x40bd0026;
inline constexpr uint32_t err_not_assigned = 0x40bd0027;
inline constexpr uint32_t err_too_many_schedules = 0x40bd0028;
inline constexpr uint32_t err_not_stored = 0x40bd0029;  // the store refused; nothing was changed
inline constexpr uint32_t err_disabled = 0x40bd002a;    // the feature is disabled
inline constexpr uint32_t err_too_many_addresses = 0x40bd002b;
inline constexpr uint32_t err_no_such_address = 0x40bd002c;
inline constexpr uint32_t err_no_startup = 0x40bd002e;         // no startup configuration has been saved
inline constexpr uint32_t err_control_character = 0x40bd002f;  // in a text that is shown on terminals
inline constexpr uint32_t err_too_many_own_schedules = 0x40bd0030;
inline constexpr uint32_t err_too_many_own_jobs = 0x40bd0031;
inline constexpr uint32_t err_log_too_large = 0x40bd0032;
inline constexpr uint32_t err_no_such_run = 0x40bd0040;  // not under way
inline constexpr uint32_t err_run_under_way = 0x40bd0041;
inline constexpr uint32_t err_no_jobs = 0x40bd0042;  // no job is assigned to the schedule
inline constexpr uint32_t err_no_history_of_run = 0x40bd0043;
inline constexpr uint32_t err_no_output_of_run = 0x40bd0044;  // the log does not have it any more
inline constexpr uint32_t err_not_allowed = 0x40bd0050;       // to configure: in no group of allow-groups
inline constexpr uint32_t err_standby = 0x40bd0052;           // the service runs nothing
inline constexpr uint32_t err_active = 0x40bd0053;            // there is nothing to take over

inline constexpr uint32_t err_bad_configuration = 0x40bd0060;  // its lines say why; nothing was changed
inline constexpr uint32_t err_changed_since = 0x40bd0061;
inline constexpr uint32_t err_unconfirmed = 0x40bd0062;
inline constexpr uint32_t err_nothing_to_confirm = 0x40bd0063;
inline constexpr uint32_t err_no_such_configuration = 0x40bd0064;  // in the history

// Makes syserr2str() know the texts of these statuses, with the limits that the source tells; the defaults without one.
// To be called at the start of a program, before other threads.
using LimitsSource = std::function<ConfiguredLimits()>;
void use_error_texts(LimitsSource limits = {});

}  // namespace control
