/* SPDX-License-Identifier: Apache-2.0 */
#ifndef SCHEDCLI_PLATFORM_CMI_H
#define SCHEDCLI_PLATFORM_CMI_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

uint32_t cmi_req_resp(uint32_t service, uint32_t message_class, void *request, void **reply, uint32_t *length,
                      const char *user_name, const char *peer_name, uint32_t constant_136, uint32_t shell_handle,
                      uint32_t zero);

typedef struct cmi_sent_request {
  uint32_t words[4];
} cmi_sent_request;

uint32_t cmi_send_request(uint32_t service, uint32_t message_class, const void *request, uint32_t length,
                          const char *user_name, const char *peer_name, uint32_t destination, uint32_t constant_136,
                          uint32_t shell_handle, cmi_sent_request *sent);

typedef struct mts_selector {
  uint32_t words[9];
} mts_selector;

typedef struct mts_message { /* the platform's, until the next receive */
  const void *data;
  uint32_t length;
} mts_message;

uint32_t mts_rr_token_get(const cmi_sent_request *sent);
int mts_recv(uint32_t mts_handle, mts_message *message, const mts_selector *selector);
int cmi_parse_response(const mts_message *message, void **reply, uint32_t *length); /* reply: malloc'ed, the caller's */

#ifdef __cplusplus
}
#endif
#endif
