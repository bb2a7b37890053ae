/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The debug infrastructure: three sinks of the library's traces, and the service's own dumps.
 *
 * None of these may fail the library: it ignores what they return, but for the two checks.
 */
#ifndef SCHEDCLI_PLATFORM_DEBUG_H
#define SCHEDCLI_PLATFORM_DEBUG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* The name that buginf() is called with. */
extern const char sdwrap_dbg_modname[];

/* Records length bytes in the history of a module (0x730000): a 32-bit subtype, the trace's level, then a terminated
 * text of at most 511 characters. The record is borrowed. */
int sdwrap_hist_event(uint32_t module, uint32_t length, const void *record);

/* 0: events of this subtype are recorded. Asked before each. */
int sdwrap_hist_event_subtype_check(uint32_t module, uint32_t subtype);

/* Other than 0: traces of this level go to buginf(). */
int sdwrap_chk_int(int level, int zero1, int zero2, int one);

/* Formats and shows a trace. The arguments are those of the trace, unformatted; texts are borrowed. */
int buginf(int one, const char *modname, int zero, const char *format, ...);

/* Asks the service at the destination for the dump named by text, which it prints itself. The result is ignored. */
int sdwrap_debug_dump(uint32_t shell_handle, uint32_t destination, uint32_t constant_136, const uint32_t argument[2],
                      const char *text);

/* The end of the debug infrastructure and of what stands below it; arg is the service's, passed through. */
void sdwrap_dbg_clean(void *arg);
int sdwrap_sys_clean(void *arg);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
