// SPDX-License-Identifier: Apache-2.0
// What stands behind `| json` of a show command: what the service is asked for.
#pragma once

#include <string>

#include "control/operations.h"
#include "host/transport/transport.h"

namespace shell {

struct Match;

struct Document {
  control::Operation operation;
  host::Bytes (*payload)(const Match &);            // null: it has none
  std::string (*add_own)(const std::string &text);  // what the shell itself adds; null: nothing
};

namespace documents {
extern const Document clock, config, configuration_history, debug_history, difference, history, jobs, log, logging,
    memory, overview, run, running, schedules, startup, startup_difference, status, upcoming, version;
}  // namespace documents

// Returns 0, or a status of which it has told the operator.
int show_document(const Match &match, const Document &document);

}  // namespace shell
