// SPDX-License-Identifier: Apache-2.0
#include "service/run/run_step.h"

#include "host/text_field.h"
#include "service/state/schedule_state.h"

namespace service {

RunStep::RunStep(const sch_schedule_entry &entry) : schedule(serial(entry)), schedule_name(name_of(*entry.key)) {
  const ScheduleState state = state_of(*entry.rec);
  owner = host::text_in(state.owner);
  owner_tag = state.owner_tag;
}

}  // namespace service
