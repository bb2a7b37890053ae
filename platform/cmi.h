/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The request/response transport to the scheduler service, and the receiving end of its streamed answers.
 *
 * The services are SCH_SERVICE_*, the message classes SCH_CLASS_*. The service must take the caller's identity from
 * the transport and not believe user_name alone. Calls block; no reply, request or message may be used by the
 * platform after the call that handed it over.
 */
#ifndef SCHEDCLI_PLATFORM_CMI_H
#define SCHEDCLI_PLATFORM_CMI_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Sends a request and waits for its answer. *length is the request's bytes on entry (for paged shows always 48).
 * Returns the service's status, 0 on success, or an error code of the transport. *reply is null before the call; the
 * transport stores a reply there, allocated by malloc(), which the library frees whatever the status is, or leaves it
 * null when the answer is a status alone. *length is then the reply's bytes; a platform that leaves it unchanged
 * guarantees that the reply is whole. constant_136 is 136 and zero is 0. */
uint32_t cmi_req_resp(uint32_t service, uint32_t message_class, void *request, void **reply, uint32_t *length,
                      const char *user_name, const char *peer_name, uint32_t constant_136, uint32_t shell_handle,
                      uint32_t zero);

/* A request under way; the platform's. */
typedef struct cmi_sent_request {
  uint32_t words[4];
} cmi_sent_request;

/* Sends a request whose answers are received with mts_recv(); destination is 0xfe000000. 0 with *sent filled, or an
 * error code. */
uint32_t cmi_send_request(uint32_t service, uint32_t message_class, const void *request, uint32_t length,
                          const char *user_name, const char *peer_name, uint32_t destination, uint32_t constant_136,
                          uint32_t shell_handle, cmi_sent_request *sent);

/* Which messages to receive: word 0 is 1, word 3 the token of the request, the others 0: the answers to that
 * request. */
typedef struct mts_selector {
  uint32_t words[9];
} mts_selector;

typedef struct mts_message {
  const void *data;
  uint32_t length;
} mts_message;

/* The token by which the answers to a sent request are known. */
uint32_t mts_rr_token_get(const cmi_sent_request *sent);

/* Waits for the next message that the selector takes. 0 with *message, the platform's until the next call; other
 * than 0 when none will come. */
int mts_recv(uint32_t mts_handle, mts_message *message, const mts_selector *selector);

/* The payload of a message in memory of malloc(), the caller's, and its bytes. Other than 0 when the message is
 * none: then both are unchanged. */
int cmi_parse_response(const mts_message *message, void **reply, uint32_t *length);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
