// SPDX-License-Identifier: Apache-2.0
// The time forms of a schedule's change, from the operator's text to a verified time-info record.
#pragma once

#include <ctime>

#include "schedcli.h"

struct LocalMoment {
  time_t seconds;
  tm calendar;
};

LocalMoment local_now();

// Fills the zeroed record by the sub-command. Not exit_success: the handler's result, already reported.
int set_schedule_time(const sch_cli_cmd_ctx *ctx, const LocalMoment &now, sch_tminfo *time_info);

// A period without a start time begins two minutes from now.
bool start_is_assumed(const sch_cli_cmd_ctx *ctx);
