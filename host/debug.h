// SPDX-License-Identifier: Apache-2.0
// Debug history, buginf switches and memory statistics, for the programs' show and debug commands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace host {

inline constexpr int debug_levels = 256;             // levels 0 to 255 have switches
inline constexpr size_t history_event_limit = 2048;  // the oldest event makes room for the newest
inline constexpr size_t history_text_limit = 511;    // the library's traces carry no more

std::string history_text();               // oldest first, one event a line
void history_enable(int level, bool on);  // on at the start: events of this level enter the history
void buginf_enable(int level, bool on);   // off at the start: traces of this level go to standard error or the journal
void buginf_to_journal(bool on);          // off at the start; a service in the background has no standard error
std::string memory_statistics();          // a table: owner, type, what, live blocks and bytes, peak, allocations
void syslog_open(const char *program, bool foreground);  // foreground: also standard error

}  // namespace host
