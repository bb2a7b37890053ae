// SPDX-License-Identifier: Apache-2.0
// The last configurations, with who made them, when and from where: one file each in the state directory.
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/result.h"
#include "service/configuration/configuration.h"

namespace service {

inline constexpr size_t kept_configurations = 20;  // to undo recent changes; older ones belong in an archive

struct Origin {
  time_t at = 0;
  std::string who, whence, what;
};

struct HistoryEntry {
  uint32_t number = 0;
  Origin origin;
};

// Oldest first. A file that cannot be read is left out.
std::vector<HistoryEntry> configuration_history();
host::Result<Configuration> configuration_of_entry(uint32_t number);  // err_no_such_configuration

// To be called before a change is committed: adds `before`, unless the newest entry is the same, and a draft of
// `after`. On an error (such as a full disk) the history is unchanged, and the change must not be made.
struct HistoryDraft {
  uint32_t before = 0, after = 0;  // numbers
};
host::Result<HistoryDraft> draft_history(const Configuration &before, const Origin &last_change,
                                         const Configuration &after, const Origin &origin);
// After the commit; also removes the oldest entries. False: the draft is left for the next start.
bool adopt_draft(const HistoryDraft &draft);
void discard_draft(const HistoryDraft &draft);

// At the service's start, for a draft that a crash has left: adopts it if it is the configuration in use, otherwise
// discards it. Returns the adopted one, by which settings in other stores are completed.
std::optional<Configuration> settle_history(const std::function<Configuration()> &in_use);

// Adds the configuration in use to the history. Its number there.
host::Result<uint32_t> keep_in_history(const Configuration &in_use, const Origin &origin);

// Whether entry `number` is there.
bool is_kept(uint32_t number);

std::string configuration_directory();
std::string configuration_file(uint32_t number, std::string_view end);
std::vector<uint32_t> configuration_files(std::string_view end);  // the numbers with such a file, in order

}  // namespace service
