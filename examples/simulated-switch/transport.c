/* SPDX-License-Identifier: Apache-2.0 */
/* The transport between the handlers and the service, which here are one process: a request is a call. */
#include "platform/cmi.h"

#include <stdlib.h>
#include <string.h>

#include "switch.h"

/* The stream under way, of GBytes, and the message lent to its receiver. */
static GQueue waiting = G_QUEUE_INIT;
static GBytes *lent;

uint32_t cmi_req_resp(uint32_t service, uint32_t message_class, void *request, void **reply, uint32_t *length,
                      const char *user_name, const char *peer_name, uint32_t constant_136, uint32_t shell_handle,
                      uint32_t zero) {
  const answer answered = service_answer(service, user_name, request, *length);
  *reply = answered.record;
  *length = answered.length;
  return answered.status;
}

/* SCH_OP_SHOW_LOG is the only request that comes this way; this switch always shows the whole log. */
uint32_t cmi_send_request(uint32_t service, uint32_t message_class, const void *request, uint32_t length,
                          const char *user_name, const char *peer_name, uint32_t destination, uint32_t constant_136,
                          uint32_t shell_handle, cmi_sent_request *sent) {
  static uint32_t last_token;
  g_queue_clear_full(&waiting, (GDestroyNotify)g_bytes_unref);
  sent->words[0] = ++last_token;
  send_job_log(&waiting);
  return 0;
}

uint32_t mts_rr_token_get(const cmi_sent_request *sent) {
  return sent->words[0];
}

int mts_recv(uint32_t mts_handle, mts_message *message, const mts_selector *selector) {
  gsize length;
  g_clear_pointer(&lent, g_bytes_unref);
  lent = (GBytes *)g_queue_pop_head(&waiting);
  if (lent == NULL) return -1;
  message->data = g_bytes_get_data(lent, &length);
  message->length = (uint32_t)length;
  return 0;
}

int cmi_parse_response(const mts_message *message, void **reply, uint32_t *length) {
  void *copy = malloc(message->length);
  if (copy == NULL) return -1;
  *reply = memcpy(copy, message->data, message->length);
  *length = message->length;
  return 0;
}
