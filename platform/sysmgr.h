/* SPDX-License-Identifier: Apache-2.0 */
#ifndef SCHEDCLI_PLATFORM_SYSMGR_H
#define SCHEDCLI_PLATFORM_SYSMGR_H

#ifdef __cplusplus
extern "C" {
#endif

/* Each result is the platform's; null where there is none. */
const char *sysmgr_running_cfg_uri_get(void);
const char *sysmgr_startup_cfg_uri_get(void);
const char *sysmgr_debug_cfg_uri_get(void);
const char *sysmgr_uri_complete(const char *base, const char *empty, const char *name);
int sysmgr_is_stateless_restart(void);

#ifdef __cplusplus
}
#endif
#endif
