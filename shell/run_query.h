// SPDX-License-Identifier: Apache-2.0
// What a show command asks for, as the payload of its operation.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "control/operations.h"
#include "host/result.h"
#include "host/transport/transport.h"

namespace shell {

struct Match;

uint64_t number_of(const Match &match, std::string_view parameter);  // 0: left out
std::string schedule_of(const Match &match);                         // empty: left out

control::LogQuery log_query_of(const Match &match);
host::Bytes chosen_log_query_of(const Match &match);
host::Bytes name_query_of(const Match &match);  // of one job or schedule, or of all
host::Bytes difference_query_of(const Match &match);
host::Bytes startup_difference_query_of(const Match &match);
host::Bytes history_query_of(const Match &match);
host::Bytes run_query_of(const Match &match);
host::Bytes upcoming_query_of(const Match &match);

// The first job or schedule that was named and does not exist, or is another user's; none: all are there.
struct Missing {
  std::string subject;
  host::Error why;
};
std::optional<Missing> missing_in(const Match &match);

// As the operator named it, or else the command.
std::string subject_of(const Match &match);

}  // namespace shell
