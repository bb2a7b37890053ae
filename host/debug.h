// SPDX-License-Identifier: Apache-2.0
// Debug history, buginf switches and memory statistics, for the programs' show and debug commands.
#pragma once

#include <cstdint>
#include <string>

namespace host {

std::string history_text();              // oldest first, one event a line
void buginf_enable(int level, bool on);  // traces of this level go to standard error (or the journal)
std::string memory_statistics();         // a table: type, what, live blocks, live bytes, peak, allocations
void syslog_open(const char *program, bool foreground);  // foreground: also standard error

}  // namespace host
