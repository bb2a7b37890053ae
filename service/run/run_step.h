// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "schedcli.h"
#include "service/run/outcome.h"

namespace service {

// One step of a run on its way to the disk.
struct RunStep {
  RunStep() = default;
  explicit RunStep(const sch_schedule_entry &entry);

  uintptr_t schedule = 0;  // serial: of one that was deleted meanwhile, only the logs are told
  std::string schedule_name, owner;
  uint32_t owner_tag = 0;
  uintptr_t job = 0;  // serial; 0: no job's status changes

  bool has_outcome = true;
  Outcome outcome;
  std::string output;
  bool ends_run = false;
  uint32_t report = 0;       // number of the report that is owed by mail for what ends here; 0: none is
  bool had_its_turn = true;  // of one that ends: it is complete, and not only over
};

}  // namespace service
