// SPDX-License-Identifier: Apache-2.0
// The debug trace of the library: standard error, the debug history, buginf, in this order.
#pragma once

#include "platform/debug.h"
#include "schedcli.h"

inline constexpr uint32_t trace_module = 0x730000;
inline constexpr int trace_store = 100;   // store opening and maintenance, configuration generation
inline constexpr int trace_status = 102;  // run-time status, fragment counts
inline constexpr int trace_config = 103;  // configuration records, command handlers

extern "C" {
// Formats the text once, at most 511 bytes of it, for standard error (when `to_stderr`) and the history.
[[gnu::format(printf, 3, 4)]] void sch_trace_text(int level, bool to_stderr, const char *format, ...);
}

// Macros, because buginf is given the format and the arguments themselves, not the formatted text.
#define SCH_TRACE(level, to_stderr, ...)                                                      \
  do {                                                                                        \
    sch_trace_text((level), (to_stderr), __VA_ARGS__);                                        \
    if (sdwrap_chk_int((level), 0, 0, 1) != 0) buginf(1, sdwrap_dbg_modname, 0, __VA_ARGS__); \
  } while (false)

// The command side (time, cli, show) is gated by cli_debug, the service side by debug_level.
#define SCH_TRACE_CLI(...) SCH_TRACE(trace_config, cli_debug != 0, __VA_ARGS__)
#define SCH_TRACE_SERVICE(level, ...) SCH_TRACE((level), debug_level > (level), __VA_ARGS__)
