// SPDX-License-Identifier: Apache-2.0
#include "tests/system/oracle/client.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <numeric>
#include <span>
#include <stdexcept>

#include "host/transport/address.h"
#include "host/transport/frame.h"

namespace oracle {
namespace {

constexpr timeval patience = {60, 0};  // a service that is alive and does not answer is a failure of its own

std::string request(uint32_t opcode, std::string_view payload) {
  return bytes_of(sch_request_header{opcode, static_cast<uint32_t>(payload.size())}) + std::string(payload);
}

}  // namespace

std::string Reply::text() const {
  return std::accumulate(pieces.begin(), pieces.end(), std::string());
}

Client::Client(const std::string &socket_path) : socket_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {
  const auto address = host::socket_address(socket_path);
  host::size_socket_buffer(socket_.get());
  setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  if (!address || connect(socket_.get(), address->get(), host::SocketAddress::size()) != 0)
    socket_ = host::FileDescriptor();
}

bool Client::send(uint32_t service, uint32_t message_class, std::string_view body) {
  host::FrameHeader header;
  header.service = service;
  header.message_class = message_class;
  header.token = 1;
  header.length = static_cast<uint32_t>(body.size());
  const std::string packet = bytes_of(header) + std::string(body);
  return socket_ &&
         ::send(socket_.get(), packet.data(), packet.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(packet.size());
}

// False: the service has gone. Where it has left requests unread, the socket says so once, before the answers that it
// had sent.
bool Client::receive_packet() {
  packet_.resize(host::frame_limit);
  const auto receive = [&] { return recv(socket_.get(), packet_.data(), packet_.size(), 0); };
  ssize_t size = socket_ ? receive() : 0;
  if (size < 0 && errno == ECONNRESET) size = receive();
  if (size < 0 && errno == EAGAIN) throw std::runtime_error("the service lives and does not answer");
  packet_.resize(static_cast<size_t>(std::max<ssize_t>(size, 0)));
  rest_ = std::as_bytes(std::span(packet_));
  return size > 0;
}

bool Client::has_answer() const {
  pollfd polled = {socket_.get(), POLLIN, 0};
  return !rest_.empty() || poll(&polled, 1, 0) != 0;
}

std::optional<Reply> Client::receive() {
  Reply reply;
  while (!rest_.empty() || receive_packet()) {
    host::Frame frame;
    const std::span<const std::byte> from = rest_;
    if (!host::parse_first_frame(from, &frame, &rest_))
      throw std::runtime_error("the service answers with what is no frame");
    if (frame.header.kind == host::FrameKind::refusal) return std::nullopt;
    reply.status = frame.header.status;
    if (frame.header.kind == host::FrameKind::stream_end) return reply;
    reply.pieces.emplace_back(reinterpret_cast<const char *>(frame.body.data()), frame.body.size());
    if ((frame.header.flags & host::frame_flag_more) == 0) return reply;
  }
  return std::nullopt;
}

bool Client::ask(uint32_t service, uint32_t number, std::string_view payload) {
  if (service == host::service_control) return send_control(static_cast<control::Operation>(number), payload);
  return send(service, service == SCH_SERVICE_CONFIG ? SCH_CLASS_CONFIG : SCH_CLASS_SHOW, request(number, payload));
}

bool Client::send_config(uint32_t opcode, std::string_view payload) {
  return send(SCH_SERVICE_CONFIG, SCH_CLASS_CONFIG, request(opcode, payload));
}

bool Client::send_control(control::Operation operation, std::string_view payload) {
  return send(host::service_control, 0, bytes_of(operation) + std::string(payload));
}

std::optional<Reply> Client::show(uint32_t opcode, int32_t cursor) {
  const sch_show_request asked = {0, "", cursor};
  return send(SCH_SERVICE_SHOW, SCH_CLASS_SHOW, request(opcode, bytes_of(asked))) ? receive() : std::nullopt;
}

std::optional<Reply> Client::control(control::Operation operation, std::string_view payload) {
  return send_control(operation, payload) ? receive() : std::nullopt;
}

}  // namespace oracle
