/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The system log.
 */
#ifndef SCHEDCLI_PLATFORM_SYSLOG_H
#define SCHEDCLI_PLATFORM_SYSLOG_H

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Formats and sends a message of a severity 0..7, as syslog(3). The texts are borrowed for the call. The library
 * ignores the result and must not be blocked for long: it raises messages from within its operations. */
int tarn_syslog(int priority, const char *format, ...);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
