/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The feature manager and the shell that the commands run in.
 */
#ifndef SCHEDCLI_PLATFORM_FEATURE_H
#define SCHEDCLI_PLATFORM_FEATURE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Enables (operation 3) or disables (4) a feature for the operator, and waits until it is done. 0, or an error code:
 * 0x40aa0005 when it is enabled already, 0x40aa0006 when it is disabled already; the library counts both as success. */
uint32_t fm_cmi_set_feature_wait(uint32_t shell_handle, const char *feature, const char *user_name,
                                 const char *peer_name, uint32_t operation);

/* Takes a feature's commands from the shell of this handle. The library ignores the result. */
int vsh_deregister_parse_tree(uint32_t shell_handle, const char *tree);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
