// SPDX-License-Identifier: Apache-2.0
// One message on the socket: a fixed header and its body, in the host's byte order. A SEQPACKET packet holds whole
// frames: one, or from the server several in a row, where a stream has small pieces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "host/transport/transport.h"

namespace host {

inline constexpr uint32_t frame_magic = 0x46484353;  // "SCHF"
inline constexpr uint16_t frame_version = 1;
inline constexpr std::size_t frame_name_size = 32;

enum class FrameKind : uint16_t {
  request = 1,
  reply = 2,
  stream_end = 3,  // after the last piece of a stream
  refusal = 4,     // of the connection: busy, not permitted, or a malformed frame; then the server closes it
};

inline constexpr uint32_t frame_flag_more = 1;  // a piece of a stream; further pieces or its stream_end follow

struct FrameHeader {
  uint32_t magic = frame_magic;
  uint16_t version = frame_version;
  FrameKind kind = FrameKind::request;
  uint32_t service = 0;
  uint32_t message_class = 0;
  uint32_t token = 0;  // chosen by the client, repeated in each reply
  uint32_t flags = 0;
  uint32_t status = 0;
  uint32_t length = 0;              // bytes of the body
  char user[frame_name_size] = {};  // zero-padded, unterminated when full
  char peer[frame_name_size] = {};
};
static_assert(sizeof(FrameHeader) == 96);

inline constexpr std::size_t frame_body_limit = frame_limit - sizeof(FrameHeader);

struct Frame {
  FrameHeader header;
  std::span<const std::byte> body;  // of the parsed packet
};

// The packet's first frame, and what is behind it. False when it is too short, has another magic or version, or
// announces more than the packet has.
bool parse_first_frame(std::span<const std::byte> packet, Frame *frame, std::span<const std::byte> *rest);

// The same for a packet that must hold exactly one frame.
bool parse_frame(std::span<const std::byte> packet, Frame *frame);

enum class SendResult { sent, blocked, failed };

// Each sends one packet without blocking, whole or not at all; after `failed` errno says why.
SendResult send_packet(int socket, std::span<const std::byte> packet);
SendResult send_frame(int socket, const FrameHeader &header, std::span<const std::byte> body);

}  // namespace host
