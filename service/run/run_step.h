// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "schedcli.h"
#include "service/run/outcome.h"

namespace service {

// One step of a run (the end of a job, or of the run) that is to be stored.
struct RunStep {
  RunStep() = default;
  explicit RunStep(const sch_schedule_entry &entry);

  uintptr_t schedule = 0;  // serial; if the schedule was deleted meanwhile the step is only logged
  std::string schedule_name, owner;
  uint32_t owner_tag = 0;
  uintptr_t job = 0;  // serial; 0: no job's status changes

  bool has_outcome = true;
  Outcome outcome;
  std::string output;
  bool ends_run = false;
  uint32_t report = 0;       // number of the report that is to be mailed for the run that ends here; 0: none
  bool had_its_turn = true;  // false: the run was ended before its turn came, so it does not count as completed
};

}  // namespace service
