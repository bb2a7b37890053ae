/* SPDX-License-Identifier: Apache-2.0 */
#ifndef SCHEDCLI_PLATFORM_ERRORS_H
#define SCHEDCLI_PLATFORM_ERRORS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

const char *syserr2str(uint32_t error);

#ifdef __cplusplus
}
#endif
#endif
