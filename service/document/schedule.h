// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "control/json.h"
#include "schedcli.h"

namespace service {

control::Json feature_json();  // whether the feature is enabled: the members before a list of schedules or jobs

// What every document says of a schedule.
control::Json schedule_head(const sch_schedule_entry &entry);

}  // namespace service
