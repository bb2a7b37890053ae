/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Users, their scheduler passwords, and their authentication. Passwords pass through the library and are never kept;
 * it wipes its copies.
 */
#ifndef SCHEDCLI_PLATFORM_SECURITY_H
#define SCHEDCLI_PLATFORM_SECURITY_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

struct sch_security_user_rec;

/* Other than 0: the user is not defined on this unit. The name is never null or empty. */
int check_if_user_remote(uint32_t shell_handle, const char *user_name);

/* A user's scheduler password: operation 1 reads it into the record, 3 stores the record's, 4 removes it. The record
 * names the user. 0 on success; for operation 1 anything else means that there is none, for the others -1 is silent
 * and any other result an error code that the operator is told. After a failed read the record is not used. */
int cmi_security_user_config(uint32_t shell_handle, uint32_t operation, struct sch_security_user_rec *record);

/* The clear password of a stored text of this form; length_with_nul counts the terminator, the zeros are spare. 0 on
 * success, with clear in memory of malloc(), terminated, clear_length its characters; the library wipes and frees
 * it, also after a failure if it is not null. Both are null and 0 before the call. */
int security_conf_decrypt(const char *text, uint32_t length_with_nul, uint32_t form, uint32_t zero1, uint32_t zero2,
                          char **clear, uint32_t *clear_length);

typedef struct aaa_result { /* words[1] == 1: accepted */
  uint32_t words[2];
} aaa_result;

/* Asks the authentication servers whether the password is the user's; service "login", method_list "default". 0 when
 * they answered: then result says whether they accepted. May block as long as they take. */
int aaa_scheduler_authenticate(const char *user_name, const char *clear_password, const char *service,
                               const char *method_list, const char *host_name, uint32_t zero, aaa_result *result);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
