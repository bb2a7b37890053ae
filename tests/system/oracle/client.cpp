// SPDX-License-Identifier: Apache-2.0
#include "tests/system/oracle/client.h"

#include <sys/socket.h>
#include <sys/time.h>

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

std::optional<Reply> Client::receive() {
  Reply reply;
  std::string packet(host::frame_limit, '\0');
  while (socket_) {
    const ssize_t size = recv(socket_.get(), packet.data(), packet.size(), 0);
    if (size < 0 && errno == EAGAIN) throw std::runtime_error("the service lives and does not answer");
    if (size <= 0) return std::nullopt;
    host::Frame frame;
    if (!host::parse_frame(std::as_bytes(std::span(packet.data(), static_cast<size_t>(size))), &frame))
      throw std::runtime_error("the service answers with what is no frame");
    if (frame.header.kind == host::FrameKind::refusal) return std::nullopt;
    reply.status = frame.header.status;
    if (frame.header.kind == host::FrameKind::stream_end) return reply;
    reply.pieces.emplace_back(reinterpret_cast<const char *>(frame.body.data()), frame.body.size());
    if ((frame.header.flags & host::frame_flag_more) == 0) return reply;
  }
  return std::nullopt;
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
