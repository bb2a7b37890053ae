// SPDX-License-Identifier: Apache-2.0
// The debug history, the memory statistics and where traces go, for the programs' show and debug commands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace host {

inline constexpr int debug_levels = 256;             // levels 0 to 255 have switches
inline constexpr size_t history_event_limit = 2048;  // then the newest event replaces the oldest
inline constexpr size_t history_text_limit = 511;    // the library's traces carry no more

struct DebugEvent {
  timespec when = {};
  uint32_t level = 0;
  std::string text;
};
std::vector<DebugEvent> history_events();  // oldest first

std::string history_text();               // the same, one event a line
void history_enable(int level, bool on);  // on at the start: events of this level enter the history

// Keeps the library's traces of records, several for each, out of the history during its lifetime: those of a long walk
// would displace everything else, and take longer than the walk itself.
class WithoutRecordsInHistory {
 public:
  WithoutRecordsInHistory() { history_enable(level_of_records, false); }
  ~WithoutRecordsInHistory() { history_enable(level_of_records, true); }
  WithoutRecordsInHistory(const WithoutRecordsInHistory &) = delete;
  WithoutRecordsInHistory &operator=(const WithoutRecordsInHistory &) = delete;

 private:
  static constexpr int level_of_records = 103;
};

void buginf_to_journal(bool on);  // instead of standard error, which a service in the background has not
std::string memory_statistics();  // a table: owner, type, what, live blocks and bytes, peak, allocations
void syslog_open(const char *program, bool foreground);  // foreground: also standard error

}  // namespace host
