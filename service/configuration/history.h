// SPDX-License-Identifier: Apache-2.0
// The last configurations with who made them, when and from where: a file for each in the state directory.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "host/result.h"
#include "service/configuration/configuration.h"

namespace service {

inline constexpr size_t kept_configurations = 20;  // what was good last month is in somebody's archive

struct Origin {
  time_t at = 0;
  std::string who, whence, what;
};

struct HistoryEntry {
  uint32_t number = 0;
  Origin origin;
};

// Oldest first. A file that does not read is left out.
std::vector<HistoryEntry> configuration_history();
host::Result<Configuration> configuration_of_entry(uint32_t number);  // err_no_such_configuration

// Before a change is committed: `before` is kept, unless it is the newest that is kept already, and a draft of what
// comes. An error, a full disk above all, leaves what was kept and must keep the change from being made.
struct HistoryDraft {
  uint32_t before = 0, after = 0;  // numbers
};
host::Result<HistoryDraft> draft_history(const Configuration &before, const Origin &last_change,
                                         const Configuration &after, const Origin &origin);
void adopt_draft(const HistoryDraft &draft);  // the change is made; the oldest go
void discard_draft(const HistoryDraft &draft);

// At the start: a draft that a crash left is what is in use now, or it came to nothing. The draft that was adopted: of
// what is kept in another store than the rest, it says what was wanted.
std::optional<Configuration> settle_history(const Configuration &in_use);

// The configuration in use as one of the history, for one that saves it.
host::Result<uint32_t> keep_in_history(const Configuration &in_use, const Origin &origin);

std::string configuration_directory();

}  // namespace service
