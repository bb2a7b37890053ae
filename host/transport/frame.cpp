// SPDX-License-Identifier: Apache-2.0
#include "host/transport/frame.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace host {

namespace {

bool known_kind(FrameKind kind) {
  return kind >= FrameKind::request && kind <= FrameKind::refusal;
}

}  // namespace

bool parse_first_frame(std::span<const std::byte> packet, Frame *frame, std::span<const std::byte> *rest) {
  if (packet.size() < sizeof(FrameHeader) || packet.size() > frame_limit) return false;
  std::memcpy(&frame->header, packet.data(), sizeof(FrameHeader));
  const FrameHeader &header = frame->header;
  if (header.magic != frame_magic || header.version != frame_version || !known_kind(header.kind)) return false;
  if (header.length > packet.size() - sizeof(FrameHeader)) return false;
  frame->body = packet.subspan(sizeof(FrameHeader), header.length);
  *rest = packet.subspan(sizeof(FrameHeader) + header.length);
  return true;
}

bool parse_frame(std::span<const std::byte> packet, Frame *frame) {
  std::span<const std::byte> rest;
  return parse_first_frame(packet, frame, &rest) && rest.empty();
}

SendResult send_packet(int socket, std::span<const std::byte> packet) {
  for (;;) {
    if (::send(socket, packet.data(), packet.size(), MSG_NOSIGNAL | MSG_DONTWAIT) != -1) return SendResult::sent;
    if (errno == EINTR) continue;
    return errno == EAGAIN ? SendResult::blocked : SendResult::failed;
  }
}

SendResult send_frame(int socket, const FrameHeader &header, std::span<const std::byte> body) {
  // sendmsg takes the parts as mutable but only reads them.
  std::array<iovec, 2> parts = {iovec{const_cast<FrameHeader *>(&header), sizeof header},
                                iovec{const_cast<std::byte *>(body.data()), body.size()}};
  msghdr message = {};
  message.msg_iov = parts.data();
  message.msg_iovlen = parts.size();
  for (;;) {
    if (::sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT) != -1) return SendResult::sent;
    if (errno == EINTR) continue;
    return errno == EAGAIN ? SendResult::blocked : SendResult::failed;
  }
}

}  // namespace host
