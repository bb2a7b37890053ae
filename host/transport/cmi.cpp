// SPDX-License-Identifier: Apache-2.0
// platform/cmi.h. One connection is for requests with one reply, another for the stream of the last request, so that an
// unread stream does not block other requests; the next stream ends it.
#include "platform/cmi.h"

#include <cstdlib>
#include <cstring>

#include "host/errors.h"
#include "host/guard.h"
#include "host/status.h"
#include "host/transport/connection.h"

namespace host {

namespace {

constexpr uint32_t selects_token = 1;  // word 0 of a selector; the token is word 3

Connection &request_connection() {
  static Connection connection;
  return connection;
}

struct Stream {
  Connection connection;
  uint32_t service = 0;
  uint32_t token = 0;
};

Stream &stream() {
  static Stream current;
  return current;
}

// A name in the shell's context may fill its field, without a terminator.
void copy_name(char (&field)[frame_name_size], const char *name) {
  if (name != nullptr) std::memcpy(field, name, ::strnlen(name, sizeof field));
}

FrameHeader request_header(uint32_t service, uint32_t message_class, std::size_t length, const char *user_name,
                           const char *peer_name) {
  FrameHeader header;
  header.service = service;
  header.message_class = message_class;
  header.token = next_token();
  header.length = static_cast<uint32_t>(length);
  copy_name(header.user, user_name);
  copy_name(header.peer, peer_name);
  return header;
}

std::span<const std::byte> bytes_of(const void *data, uint32_t length) {
  return {static_cast<const std::byte *>(data), length};
}

// A frame without a body is a null reply.
uint32_t copy_reply(std::span<const std::byte> body, void **reply, uint32_t *length) {
  if (body.empty()) return 0;
  *reply = std::malloc(body.size());
  if (*reply == nullptr) return err_no_memory;
  std::memcpy(*reply, body.data(), body.size());
  *length = static_cast<uint32_t>(body.size());
  return 0;
}

// Turns a reply with an error status into that error.
Result<Frame> unless_refused(Result<Frame> frame) {
  if (!frame || frame->header.status == 0) return frame;
  return error_of(frame->header.status);
}

Result<Frame> exchange(const FrameHeader &header, std::span<const std::byte> body, Deadline deadline) {
  Connection &connection = request_connection();
  if (const Result<void> sent = connection.send(header, body, deadline); !sent) return sent.error();
  return unless_refused(connection.receive(header.service, header.token, deadline));
}

// Receives the reply, joining its pieces.
Result<Bytes> exchange_joining(std::span<const std::byte> body) {
  const Deadline deadline = Deadline::of_reply();
  const FrameHeader header = request_header(service_control, 0, body.size(), nullptr, nullptr);
  Bytes whole;
  Result<Frame> frame = exchange(header, body, deadline);
  while (frame && frame->header.kind == FrameKind::reply) {
    if (whole.size() + frame->body.size() > control_reply_limit) {
      request_connection().close();  // further pieces must not be taken for the next reply
      return error_of(err_too_large);
    }
    whole.insert(whole.end(), frame->body.begin(), frame->body.end());
    if ((frame->header.flags & frame_flag_more) == 0) break;
    frame = unless_refused(request_connection().receive(header.service, header.token, deadline));
  }
  if (!frame) return frame.error();
  return whole;
}

uint32_t no_memory() {
  return err_no_memory;
}

}  // namespace

Result<Bytes> control_request(uint32_t operation, std::span<const std::byte> payload) {
  Bytes body(sizeof operation + payload.size());
  std::memcpy(body.data(), &operation, sizeof operation);
  std::copy(payload.begin(), payload.end(), body.begin() + sizeof operation);
  Result<Bytes> reply = exchange_joining(body);
  explicit_bzero(body.data(), body.size());  // a password may be in it
  return reply;
}

}  // namespace host

using namespace host;

uint32_t cmi_req_resp(uint32_t service, uint32_t message_class, void *request, void **reply, uint32_t *length,
                      const char *user_name, const char *peer_name, uint32_t, uint32_t, uint32_t) {
  *reply = nullptr;
  const auto ask = [&] {
    const FrameHeader header = request_header(service, message_class, *length, user_name, peer_name);
    const Result<Frame> answer = exchange(header, bytes_of(request, *length), Deadline::of_reply());
    return answer ? copy_reply(answer->body, reply, length) : answer.code();
  };
  return guarded(ask, no_memory);
}

uint32_t cmi_send_request(uint32_t service, uint32_t message_class, const void *request, uint32_t length,
                          const char *user_name, const char *peer_name, uint32_t, uint32_t, uint32_t,
                          cmi_sent_request *sent) {
  const auto send = [&] {
    Stream &current = stream();
    current.connection.close();
    const FrameHeader header = request_header(service, message_class, length, user_name, peer_name);
    current.service = service;
    current.token = header.token;
    *sent = {};
    sent->words[0] = header.token;
    return current.connection.send(header, bytes_of(request, length), Deadline::of_reply()).code();
  };
  return guarded(send, no_memory);
}

uint32_t mts_rr_token_get(const cmi_sent_request *sent) {
  return sent->words[0];
}

int mts_recv(uint32_t, mts_message *message, const mts_selector *selector) {
  Stream &current = stream();
  *message = {};
  if (selector->words[0] != selects_token || selector->words[3] != current.token) return -1;
  if (!current.connection.usable()) return -1;
  const Result<Frame> frame = current.connection.receive(current.service, current.token, Deadline::of_reply());
  if (!frame || frame->header.kind == FrameKind::stream_end) return -1;
  const std::span<const std::byte> whole = current.connection.frame();
  *message = {whole.data(), static_cast<uint32_t>(whole.size())};
  return 0;
}

int cmi_parse_response(const mts_message *message, void **reply, uint32_t *length) {
  *reply = nullptr;
  *length = 0;
  Frame frame;
  if (!parse_frame(bytes_of(message->data, message->length), &frame)) return static_cast<int>(err_bad_reply);
  if (frame.header.status != 0) return static_cast<int>(frame.header.status);
  const uint32_t status = copy_reply(frame.body, reply, length);
  // Callers read the message's fields without looking at its length, so an empty one is an error.
  return static_cast<int>(status == 0 && *reply == nullptr ? err_bad_reply : status);
}
