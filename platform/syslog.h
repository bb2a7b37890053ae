/* SPDX-License-Identifier: Apache-2.0 */
#ifndef SCHEDCLI_PLATFORM_SYSLOG_H
#define SCHEDCLI_PLATFORM_SYSLOG_H

#ifdef __cplusplus
extern "C" {
#endif

int tarn_syslog(int priority, const char *format, ...);

#ifdef __cplusplus
}
#endif
#endif
