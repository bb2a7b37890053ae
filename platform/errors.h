/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The texts of platform errors.
 */
#ifndef SCHEDCLI_PLATFORM_ERRORS_H
#define SCHEDCLI_PLATFORM_ERRORS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* The text of an error code, also of one that nobody knows: never null. It stays valid at least until the next call. */
const char *syserr2str(uint32_t error);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
