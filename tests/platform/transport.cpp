// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <memory>

#include "platform/cmi.h"
#include "tests/platform/state.h"

namespace platform_test {
namespace {

std::unique_ptr<char[]> &received() {  // the message last handed out, freed at the next receive
  static std::unique_ptr<char[]> bytes;
  return bytes;
}

Reply answer_to(const Request &request) {
  if (!fake.replies.empty()) {
    Reply reply = std::move(fake.replies.front());
    fake.replies.pop_front();
    return reply;
  }
  return fake.serve ? fake.serve(request) : Reply();
}

uint32_t failure(const char *call) {
  const bool fails = fake.transport.fails();
  const uint32_t error = scripted_error(call);
  if (error != 0) return error;
  return fails ? fake.transport_error : 0;
}

}  // namespace

void release_messages() {
  received().reset();
}

}  // namespace platform_test

using namespace platform_test;

uint32_t cmi_req_resp(uint32_t service, uint32_t message_class, void *request, void **reply, uint32_t *length,
                      const char *user_name, const char *peer_name, uint32_t constant_136, uint32_t shell_handle,
                      uint32_t zero) {
  note("cmi_req_resp %u %u", service, message_class);
  fake.requests.push_back({service, message_class, bytes_of(request, *length), or_null(user_name), or_null(peer_name),
                           constant_136, shell_handle, zero, 0, *reply == nullptr});
  const uint32_t error = failure("cmi_req_resp");
  if (error != 0 && !fake.failing_transport_replies) return error;
  const Reply answer = answer_to(Request(fake.requests.back()));
  if (!answer.null) *reply = copy_for_caller(answer.bytes);
  if (!answer.null && !fake.keeps_length_word) *length = static_cast<uint32_t>(answer.bytes.size());
  return error != 0 ? error : answer.status;
}

uint32_t cmi_send_request(uint32_t service, uint32_t message_class, const void *request, uint32_t length,
                          const char *user_name, const char *peer_name, uint32_t destination, uint32_t constant_136,
                          uint32_t shell_handle, cmi_sent_request *sent) {
  note("cmi_send_request %u %u", service, message_class);
  fake.requests.push_back({service, message_class, bytes_of(request, length), or_null(user_name), or_null(peer_name),
                           constant_136, shell_handle, 0, destination, true});
  const uint32_t error = failure("cmi_send_request");
  if (error != 0) return error;
  *sent = {{fake.token, 0, 0, 0}};
  return answer_to(Request(fake.requests.back())).status;
}

uint32_t mts_rr_token_get(const cmi_sent_request *sent) {
  note("mts_rr_token_get %u", sent->words[0]);
  return sent->words[0];
}

int mts_recv(uint32_t mts_handle, mts_message *message, const mts_selector *selector) {
  note("mts_recv %u", mts_handle);
  fake.selectors.push_back(*selector);
  if (failure("mts_recv") != 0 || fake.messages.empty()) return -1;
  const std::string bytes = std::move(fake.messages.front());
  fake.messages.pop_front();
  received().reset(new char[bytes.size()]);
  std::memcpy(received().get(), bytes.data(), bytes.size());
  *message = {received().get(), static_cast<uint32_t>(bytes.size())};
  return 0;
}

int cmi_parse_response(const mts_message *message, void **reply, uint32_t *length) {
  note("cmi_parse_response %u", message->length);
  if (failure("cmi_parse_response") != 0) return -1;
  if (fake.parses_to_null) return 0;
  *reply = copy_for_caller(bytes_of(message->data, message->length));
  *length = message->length;
  return 0;
}
