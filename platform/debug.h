/* SPDX-License-Identifier: Apache-2.0 */
#ifndef SCHEDCLI_PLATFORM_DEBUG_H
#define SCHEDCLI_PLATFORM_DEBUG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

extern const char sdwrap_dbg_modname[];

int sdwrap_hist_event(uint32_t module, uint32_t length, const void *record);
int sdwrap_hist_event_subtype_check(uint32_t module, uint32_t subtype); /* 0: allowed */
int sdwrap_chk_int(int level, int zero1, int zero2, int one);
int buginf(int one, const char *modname, int zero, const char *format, ...);
int sdwrap_debug_dump(uint32_t shell_handle, uint32_t destination, uint32_t constant_136, const uint32_t argument[2],
                      const char *text);
void sdwrap_dbg_clean(void *arg);
int sdwrap_sys_clean(void *arg);

#ifdef __cplusplus
}
#endif
#endif
