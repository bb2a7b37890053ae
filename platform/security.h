/* SPDX-License-Identifier: Apache-2.0 */
#ifndef SCHEDCLI_PLATFORM_SECURITY_H
#define SCHEDCLI_PLATFORM_SECURITY_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct sch_security_user_rec;

int check_if_user_remote(uint32_t shell_handle, const char *user_name);
int cmi_security_user_config(uint32_t shell_handle, uint32_t operation, struct sch_security_user_rec *record);
int security_conf_decrypt(const char *text, uint32_t length_with_nul, uint32_t form, uint32_t zero1, uint32_t zero2,
                          char **clear, uint32_t *clear_length); /* clear: malloc'ed, wiped and freed by the caller */

typedef struct aaa_result { /* words[1] == 1: accepted */
  uint32_t words[2];
} aaa_result;

int aaa_scheduler_authenticate(const char *user_name, const char *clear_password, const char *service,
                               const char *method_list, const char *host_name, uint32_t zero, aaa_result *result);

#ifdef __cplusplus
}
#endif
#endif
