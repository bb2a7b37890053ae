/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The system manager: where this unit's stores are, and how the process came to start.
 *
 * URIs are the platform's own texts, which only pss_ calls read. Their results stay valid until the next call of the
 * same function; the library copies them, 64 bytes at most.
 */
#ifndef SCHEDCLI_PLATFORM_SYSMGR_H
#define SCHEDCLI_PLATFORM_SYSMGR_H

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* The base of the stores of the running configuration, of the startup configuration, of the startup debug settings;
 * null where there is none. */
const char *sysmgr_running_cfg_uri_get(void);
const char *sysmgr_startup_cfg_uri_get(void);
const char *sysmgr_debug_cfg_uri_get(void);

/* The URI of the store of this name under a base; the second argument is always "". After null the library goes on
 * without that store. */
const char *sysmgr_uri_complete(const char *base, const char *empty, const char *name);

/* Other than 0: nothing of the running configuration is to be kept (a boot); 0: it is (a restart of the process). */
int sysmgr_is_stateless_restart(void);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
