// SPDX-License-Identifier: Apache-2.0
#include "tests/show/transport_hooks.h"

#include "platform/cmi.h"

namespace show_test {

TransportHooks hooks;

}  // namespace show_test

using show_test::hooks;

extern "C" {

uint32_t __real_cmi_req_resp(uint32_t service, uint32_t message_class, void *request, void **reply, uint32_t *length,
                             const char *user_name, const char *peer_name, uint32_t constant_136, uint32_t shell_handle,
                             uint32_t zero);
int __real_cmi_parse_response(const mts_message *message, void **reply, uint32_t *length);

uint32_t __wrap_cmi_req_resp(uint32_t service, uint32_t message_class, void *request, void **reply, uint32_t *length,
                             const char *user_name, const char *peer_name, uint32_t constant_136, uint32_t shell_handle,
                             uint32_t zero) {
  const uint32_t before = *length;
  const uint32_t status = __real_cmi_req_resp(service, message_class, request, reply, length, user_name, peer_name,
                                              constant_136, shell_handle, zero);
  if (hooks.keeps_length_word) *length = before;
  return status;
}

int __wrap_cmi_parse_response(const mts_message *message, void **reply, uint32_t *length) {
  if (hooks.parses_to_null) return 0;
  return __real_cmi_parse_response(message, reply, length);
}
}
