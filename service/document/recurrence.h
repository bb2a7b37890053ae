// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "control/json.h"
#include "schedcli.h"

namespace service {

// When a schedule is due, as data. Null: it has no time.
control::Json recurrence_of(const sch_tminfo &time);
void add_recurrence(control::Json *object, const sch_tminfo &time);

}  // namespace service
