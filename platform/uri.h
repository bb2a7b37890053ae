/* SPDX-License-Identifier: Apache-2.0 */
/*
 * File URIs as the shell parsed them. The library does not look at what `uri` points to.
 */
#ifndef SCHEDCLI_PLATFORM_URI_H
#define SCHEDCLI_PLATFORM_URI_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* The file's local path, terminated and cut to size bytes. path is zero-filled before. The library does not look at
 * the result: a path that stays empty goes to the service, which refuses it. */
int uri_map_targetfs_path_get(const void *uri, char *path, uint32_t size);

/* The URI as text, terminated and cut to size bytes; the result is as snprintf()'s. */
int snprintf_uri_len(char *text, uint32_t size, const void *uri);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
