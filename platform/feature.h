/* SPDX-License-Identifier: Apache-2.0 */
#ifndef SCHEDCLI_PLATFORM_FEATURE_H
#define SCHEDCLI_PLATFORM_FEATURE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

uint32_t fm_cmi_set_feature_wait(uint32_t shell_handle, const char *feature, const char *user_name,
                                 const char *peer_name, uint32_t operation);
int vsh_deregister_parse_tree(uint32_t shell_handle, const char *tree);

#ifdef __cplusplus
}
#endif
#endif
