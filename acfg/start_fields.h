// SPDX-License-Identifier: Apache-2.0
// The calendar fields of a "time start" line, as the shown and the generated configuration print them.
#pragma once

#include "schedcli.h"

namespace acfg {

struct StartFields {
  int year, month, day, hour, minute;
};

StartFields start_of_one_shot(const sch_tminfo &time);
StartFields start_of_periodic(const sch_tminfo &time);  // the local calendar fields of its start time

}  // namespace acfg
