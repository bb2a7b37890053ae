/* SPDX-License-Identifier: Apache-2.0 */
#ifndef SCHEDCLI_PLATFORM_URI_H
#define SCHEDCLI_PLATFORM_URI_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

int uri_map_targetfs_path_get(const void *uri, char *path, uint32_t size);
int snprintf_uri_len(char *text, uint32_t size, const void *uri);

#ifdef __cplusplus
}
#endif
#endif
